// Where an SFTP server is and who logs in there, read from the settings the way libcurl reads them, so that a
// session of our own reaches the same server as the same user. Pure functions.
#pragma once

#include <string>

#include "transport/settings.h"

namespace ftp_plugin {

/// How to log in to an SSH server.
struct ssh_login {
  std::string user;         ///< empty when nobody is named
  std::string password;     ///< empty when there is none
  std::string key_file;     ///< path of a private key; when it is not empty, the key alone counts
  std::string pass_phrase;  ///< of the key
};

/// User, password and key of `settings` and of the credentials in its URL.
[[nodiscard]] ssh_login ssh_login_of(const settings_map& settings);

/// The URL with which libcurl opens a bare connection to the server of the SFTP URL `url`, over whichever
/// proxy; its port is 22 unless `url` names one. Empty when `url` cannot be read.
[[nodiscard]] std::string bare_connection_url(const std::string& url);

}  // namespace ftp_plugin
