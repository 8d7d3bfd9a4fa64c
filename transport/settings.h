// The settings of one configured server as the host fills them in: text keys to text values. Booleans are the
// texts "true" and "false". What the transport makes of them is in server_settings.h.
#pragma once

#include <string>
#include <unordered_map>

namespace ftp_plugin {

using settings_map = std::unordered_map<std::string, std::string>;

namespace key {
inline constexpr const char* url = "url";              ///< base URL, scheme included
inline constexpr const char* type = "type";            ///< "ftp" or "sftp"
inline constexpr const char* ssl = "ssl";              ///< "true": ask for TLS on an ftp URL
inline constexpr const char* root_path = "root_path";  ///< path of the configured URL, no "/" at its end
inline constexpr const char* active = "active";        ///< "true": active mode
inline constexpr const char* anonymous = "anonymous";  ///< "false": user and password count
inline constexpr const char* user = "user";
inline constexpr const char* pwd = "pwd";              ///< password, or pass phrase of the key file
inline constexpr const char* key_file = "key_file";    ///< private key for SFTP
inline constexpr const char* sftp_root = "sftp_root";  ///< "false": SFTP paths start at the home directory
inline constexpr const char* charset = "charset";      ///< "local", "utf8" or "auto"
inline constexpr const char* proxy_type = "proxy_type";
inline constexpr const char* proxy_host = "proxy_host";
inline constexpr const char* proxy_port = "proxy_port";
inline constexpr const char* proxy_user = "proxy_user";
inline constexpr const char* proxy_pwd = "proxy_pwd";            ///< what the transport reads
inline constexpr const char* proxy_password = "proxy_password";  ///< what the login document brings; unused
inline constexpr const char* use_local_timestamp = "use_local_timestamp";
}  // namespace key

/// Value under `name`, or null when the key was never written.
[[nodiscard]] inline const std::string* find_setting(const settings_map& settings, const char* name) {
  const auto found = settings.find(name);
  return found == settings.end() ? nullptr : &found->second;
}

/// Whether the value under `name` is exactly `value`; a missing key reads as empty text.
[[nodiscard]] inline bool setting_is(const settings_map& settings, const char* name, const char* value) {
  const std::string* found = find_setting(settings, name);
  return found == nullptr ? *value == '\0' : *found == value;
}

/// How a boolean is written, and whether the one under `name` says so; a missing key says neither.
[[nodiscard]] constexpr const char* boolean_text(bool value) noexcept { return value ? "true" : "false"; }
[[nodiscard]] inline bool is_true(const settings_map& settings, const char* name) {
  return setting_is(settings, name, boolean_text(true));
}
[[nodiscard]] inline bool is_false(const settings_map& settings, const char* name) {
  return setting_is(settings, name, boolean_text(false));
}

}  // namespace ftp_plugin
