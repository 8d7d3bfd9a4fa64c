// What the plug-in's log says about an operation, as far as it explains a failure.
#pragma once

#include <string>
#include <string_view>

namespace ftp_host {

/// What the plug-in logged during one operation.
struct OperationLog {
  std::string last_refusal;      ///< the last reply of the server that refused something
  std::string last_information;  ///< the transport's last informational line
  int last_code = 0;             ///< the transport's code in the plug-in's last error line
  bool listing_failed = false;   ///< a listing could not be made, and the server still reported success
  bool server_spoke = false;     ///< a reply came, or at least a connection stood

  /// The best explanation there is, in one line; may be empty.
  [[nodiscard]] std::string explanation() const;
};

/// Takes one line of the plug-in's log: "[NETWORK   ] ..." and error lines say something, the others nothing.
void note_log_line(OperationLog& log, std::string_view line);

/// Whether note_log_line can learn anything from a line that begins with `beginning`; errors always count.
[[nodiscard]] bool is_network_line(std::string_view beginning);

/// The log of the operation that runs on this thread.
[[nodiscard]] OperationLog& current_operation_log();

}  // namespace ftp_host
