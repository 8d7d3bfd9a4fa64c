// Where an SFTP server is and who logs in there, read from the settings the way libcurl reads them, so that a
// session of our own reaches the same server as the same user. Pure functions.
#pragma once

#include <string>

#include "transport/server_settings.h"

namespace ftp_plugin {

/// The credentials of the settings, completed by those in the URL.
[[nodiscard]] credentials ssh_login_of(const server_settings& server);

/// The URL with which libcurl opens a bare connection to the server of the SFTP URL `url`, over whichever
/// proxy; its port is 22 unless `url` names one. Empty when `url` cannot be read.
[[nodiscard]] std::string bare_connection_url(const std::string& url);

}  // namespace ftp_plugin
