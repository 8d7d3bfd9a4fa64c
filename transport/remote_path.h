// Remote paths put together from their pieces. Free functions without state, safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace ftp_plugin {

/// What the paths on a server are relative to.
enum class path_origin {
  kServerRoot,      ///< nothing: a leading "/" stays
  kLoginDirectory,  ///< on FTP: a leading "/" is dropped from anything longer than "/"
  kHomeDirectory,   ///< on SFTP where the user asked for it: a leading "/" is always dropped
};

/// How the host's identifiers become paths on one server.
struct path_rules {
  std::string_view root_path;  ///< borrowed; path of the configured URL, no "/" at its end
  path_origin origin = path_origin::kServerRoot;
};

/// Path of `id` (null is empty) for a raw command: the root path and `id`, with a "/" between them unless
/// `id` begins with one. No other "/" is doubled or collapsed.
[[nodiscard]] std::string command_path(const path_rules& rules, const char* id);

/// URL of `id` on the server whose URL is `url`, not yet percent-encoded. Where `url` is empty this is
/// command_path.
[[nodiscard]] std::string url_path(const path_rules& rules, std::string url, const char* id);

/// `server` followed by what `url` holds behind its first `server.size()` bytes, percent-encoded.
[[nodiscard]] std::string encode_behind(std::string_view server, const std::string& url);

}  // namespace ftp_plugin
