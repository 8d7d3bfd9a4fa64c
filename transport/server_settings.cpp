#include "transport/server_settings.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "transport/one_line.h"

namespace ftp_plugin {
namespace {

/// Value under `name`; a missing key reads as empty text.
const std::string& text_of(const settings_map& map, const char* name) {
  static const std::string nothing;
  const std::string* found = find_setting(map, name);
  return found == nullptr ? nothing : *found;
}

/// What `value` is called in a table of names, or `other` when it is not there.
template <class Kind, std::size_t count>
Kind named(const std::pair<std::string_view, Kind> (&names)[count], std::string_view value, Kind other) {
  for (const auto& [name, kind] : names) {
    if (value == name) return kind;
  }
  return other;
}

constexpr std::pair<std::string_view, server_kind> kServerKinds[] = {
    {"ftp", server_kind::kFtp},
    {"sftp", server_kind::kSftp},
};

constexpr std::pair<std::string_view, charset_choice> kCharsets[] = {
    {"local", charset_choice::kLocal},
    {"utf8", charset_choice::kUtf8},
};

constexpr std::pair<std::string_view, proxy_kind> kProxyKinds[] = {
    {"None", proxy_kind::kNone},
    {"SOCKS4", proxy_kind::kSocks4},
    {"SOCKS5", proxy_kind::kSocks5},
    {"HTTP with TUNNEL", proxy_kind::kHttpTunnel},
    {"HTTP without TUNNEL", proxy_kind::kHttp},
};

credentials read_credentials(const settings_map& map, server_kind kind) {
  credentials login;
  login.user = text_of(map, key::user);
  login.password = text_of(map, key::pwd);
  if (kind != server_kind::kSftp || text_of(map, key::key_file).empty()) return login;
  login.key_file = text_of(map, key::key_file);
  // Kept on purpose: without a pass phrase of its own, the key's is the proxy's password.
  login.pass_phrase = login.password.empty() ? text_of(map, key::proxy_pwd) : login.password;
  login.password.clear();
  return login;
}

proxy_settings read_proxy(const settings_map& map, bool login_has_key) {
  proxy_settings proxy;
  const std::string* type = find_setting(map, key::proxy_type);
  if (type != nullptr) proxy.kind = named(kProxyKinds, *type, proxy_kind::kUnnamed);
  if (proxy.kind == proxy_kind::kNone) return proxy;
  proxy.host = text_of(map, key::proxy_host);
  proxy.port = std::atoi(text_of(map, key::proxy_port).c_str());
  proxy.credentials = text_of(map, key::proxy_user);
  // Kept on purpose: a key file makes the proxy's password count as present, since it was looked at for the
  // pass phrase; without one the proxy is then sent ":". Pinned by
  // ServerSettings.AKeyFileWithoutPassPhraseMakesTheProxySendAColon.
  if (login_has_key || find_setting(map, key::proxy_pwd) != nullptr) {
    proxy.credentials += ':' + text_of(map, key::proxy_pwd);
  }
  return proxy;
}

}  // namespace

url_scheme scheme_of(std::string_view url) noexcept {
  if (url.starts_with(kFtpScheme)) return url_scheme::kFtp;
  if (url.starts_with(kFtpsScheme)) return url_scheme::kFtps;
  if (url.starts_with(kSftpScheme)) return url_scheme::kSftp;
  return url_scheme::kNone;
}

server_kind kind_of(const settings_map& map) {
  return named(kServerKinds, text_of(map, key::type), server_kind::kUnknown);
}

server_settings read_settings(const settings_map& map) {
  server_settings server;
  server.url = text_of(map, key::url);
  server.scheme = scheme_of(server.url);
  server.kind = kind_of(map);
  server.asks_for_tls = is_true(map, key::ssl);
  server.active_mode = is_true(map, key::active);
  server.charset = named(kCharsets, text_of(map, key::charset), charset_choice::kAutomatic);
  server.login = read_credentials(map, server.kind);
  server.proxy = read_proxy(map, !server.login.key_file.empty());
  return server;
}

bool is_one_line(const credentials& login) noexcept {
  for (const std::string* text : {&login.user, &login.password, &login.pass_phrase}) {
    if (!is_one_line(*text)) return false;
  }
  return true;
}

}  // namespace ftp_plugin
