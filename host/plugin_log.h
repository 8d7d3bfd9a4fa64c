// The plug-in's log: its trace file, its lines on standard error, and what it last said about an operation.
#pragma once

#include <memory>
#include <string>

#include "boundary/abi/host_interfaces.h"

namespace spdlog {
class logger;
}

namespace ftp_host {

/// What the plug-in logged during one operation, as far as it explains a failure.
struct OperationLog {
  std::string last_refusal;      ///< the last reply of the server that refused something
  std::string last_information;  ///< the transport's last informational line
  int last_code = 0;             ///< the transport's code in the plug-in's last error line
  bool listing_failed = false;   ///< a listing was answered with success, and yet could not be made
  bool server_spoke = false;     ///< a reply came, or at least a connection stood

  /// The best explanation there is, in one line; may be empty.
  [[nodiscard]] std::string explanation() const;
};

/// Takes "[NETWORK   ] ..." lines and error lines as they come.
void note_log_line(OperationLog& log, std::string_view line);

/// The log of the operation that runs on this thread.
[[nodiscard]] OperationLog& current_operation_log();

/// The logger that the plug-in is given. Safe from any thread.
class PluginLog final : public ILog {
 public:
  /// `trace_file`: every line goes there, secrets taken out; empty for none. `to_stderr`: to standard error
  /// too.
  PluginLog(const std::string& trace_file, bool to_stderr);
  ~PluginLog();
  PluginLog(const PluginLog&) = delete;
  PluginLog& operator=(const PluginLog&) = delete;

  void Reserved() override {}
  int IsTracing() override { return logger_ ? 1 : 0; }
  void Write(LOGLEVEL level, const char* format, va_list arguments) override;
  void flush();

 private:
  std::shared_ptr<spdlog::logger> logger_;
};

}  // namespace ftp_host
