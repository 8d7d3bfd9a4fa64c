// Remote paths put together from their pieces.
#pragma once

#include <string>

#include "transport/settings.h"

namespace ftp_plugin {

/// `base`, the settings' root path and `id` as one path. `id` (null is empty) gets a "/" in front unless it
/// begins with one; no other "/" is doubled or collapsed. On FTP a leading "/" is dropped from anything
/// longer than "/", so that paths are relative to the login directory; on SFTP only when "sftp_root" is
/// "false".
[[nodiscard]] std::string join_remote_path(const settings_map& settings, std::string base, const char* id);

/// `server` followed by what `url` holds behind its first `server.size()` bytes, percent-encoded.
[[nodiscard]] std::string encode_behind(const std::string& server, const std::string& url);

}  // namespace ftp_plugin
