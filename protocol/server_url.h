// A server URL taken apart, without a connection and without a Protocol: a pure function, safe from any
// thread.
#pragma once

#include <optional>
#include <string>

namespace ftp_plugin {

/// What a server URL says. The names are those of the settings.
struct server_url {
  std::string url;                  ///< the whole URL; "ftp://" in the place of "ftps://"
  std::optional<std::string> ssl;   ///< "true" or "false"; none for an unknown scheme
  std::optional<std::string> type;  ///< "ftp" or "sftp"; none for an unknown scheme
  std::string root_path;  ///< from the first "/" behind the host, without one at its end; may be empty
};

/// Takes `url` apart. Port, user and password stay in the URL, which is not otherwise looked at.
/// Errors     std::bad_alloc.
[[nodiscard]] server_url split_server_url(const std::string& url);

}  // namespace ftp_plugin
