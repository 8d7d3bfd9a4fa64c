// Ends the data connection of an FTP download towards the server, and keeps libcurl from noticing before the
// server has replied.
#pragma once

#include <curl/curl.h>

#include "common/owner.h"
#include "common/pinned.h"

namespace ftp_plugin {

/// libcurl has two ways to end a download early, and both end the login. A server that sees its data
/// connection reset says so on the control connection and goes on; libcurl goes on as well when the data just
/// ends, but waits for the reply without looking at anything else. So the server gets its reset at once, and
/// libcurl an end of data when the reply is there. Not a shutdown of the socket (Linux goes on receiving,
/// some servers hang), not a close (another thread may get the number), not a plain end (a server that writes
/// on may end over it), not ABOR (two replies).
class data_cut : pinned {
 public:
  /// Resets the TCP connection of `data` and puts one end of a socket pair in its place. False when there is
  /// no memory or descriptor for it; nothing has changed then.
  [[nodiscard]] bool cut(curl_socket_t data) noexcept;

  /// Whether libcurl still waits for an end of data.
  [[nodiscard]] bool is_cut() const noexcept { return static_cast<bool>(far_end_); }

  /// Lets libcurl see the end of the data, when there was a cut.
  void show_end() noexcept { far_end_.reset(); }

 private:
  descriptor far_end_;
};

}  // namespace ftp_plugin
