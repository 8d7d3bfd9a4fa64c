// What libssh2 reports, as the libcurl code that libcurl's own SFTP transfers give for it.
#pragma once

#include <curl/curl.h>

namespace ftp_plugin {

/// The code for a status of the SFTP server (LIBSSH2_FX_...). Never CURLE_OK: a failed call that left the
/// status at "fine" is CURLE_SSH.
[[nodiscard]] CURLcode sftp_status_code(unsigned long status) noexcept;

/// The code for an error of the SSH session (LIBSSH2_ERROR_...). A connection that broke is CURLE_SEND_ERROR
/// or CURLE_RECV_ERROR.
[[nodiscard]] CURLcode ssh_session_code(int error) noexcept;

/// Whether the server, or the line to it, is gone.
[[nodiscard]] constexpr bool is_lost_connection(CURLcode code) noexcept {
  return code == CURLE_SEND_ERROR || code == CURLE_RECV_ERROR;
}

}  // namespace ftp_plugin
