#include "host/remote/connect_options.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "host/failure.h"
#include "host/text.h"

namespace ftp_host {
namespace {

struct ProxyType {
  std::string_view scheme, choice;
};
constexpr ProxyType kProxyTypes[] = {
    {"socks4", "SOCKS4"},
    {"socks5", "SOCKS5"},
    {"http-tunnel", "HTTP with TUNNEL"},
    {"http", "HTTP without TUNNEL"},
};

std::string charset_choice(const std::string& charset) {
  if (charset == "utf8") return "Force UTF-8";
  if (charset == "local") return "Local charset";
  return "Autodetect";
}

/// The port at the end of "host:port"; a colon inside the brackets of an address is none.
std::size_t port_colon(std::string_view server) {
  const std::size_t colon = server.rfind(':');
  const std::size_t bracket = server.rfind(']');
  if (colon == std::string_view::npos || (bracket != std::string_view::npos && colon < bracket))
    return server.size();
  return colon;
}

}  // namespace

Proxy parse_proxy(std::string_view text) {
  const auto wrong = [&](std::string_view why) {
    return Failure{ExitCode::usage, fmt::format("--proxy {}: {}", text, why)};
  };
  const std::size_t colon = text.find("://");
  if (colon == std::string_view::npos) throw wrong("expected TYPE://[user@]host:port");
  Proxy proxy;
  for (const ProxyType& type : kProxyTypes) {
    if (type.scheme == text.substr(0, colon)) proxy.type = type.choice;
  }
  if (proxy.type.empty()) throw wrong("the type is socks4, socks5, http-tunnel or http");
  std::string_view server = text.substr(colon + 3);
  if (server.ends_with('/')) server.remove_suffix(1);
  if (const std::size_t at = server.rfind('@'); at != std::string_view::npos) {
    if (server.substr(0, at).find(':') != std::string_view::npos) {
      throw wrong("the proxy's password is taken from the environment variable FTP_PROXY_PASSWORD only");
    }
    proxy.user = percent_decode(server.substr(0, at));
    server.remove_prefix(at + 1);
  }
  const std::size_t port = port_colon(server);
  proxy.host = server.substr(0, port);
  if (port < server.size()) proxy.port = server.substr(port + 1);
  if (proxy.host.empty() || proxy.port.empty() ||
      proxy.port.find_first_not_of("0123456789") != std::string::npos) {
    throw wrong("expected a host and the number of a port");
  }
  return proxy;
}

std::int64_t parse_byte_count(std::string_view text, std::string_view what) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  double factor = 1;
  std::string_view rest{end, static_cast<std::size_t>(text.data() + text.size() - end)};
  if (!rest.empty()) {
    const std::size_t power = std::string_view{"kmgt"}.find(to_lower(rest[0]));
    if (power != std::string_view::npos) {
      factor = std::pow(1024.0, static_cast<double>(power + 1));
      rest.remove_prefix(1);
    }
  }
  const double bytes = number * factor;
  if (error != std::errc{} || !rest.empty() || !(bytes >= 0) || bytes > 9e18) {
    throw Failure{ExitCode::usage,
                  fmt::format("{}: {} is not a number of bytes (such as 500K or 2M)", what, text)};
  }
  return static_cast<std::int64_t>(bytes);
}

FieldValues login_values(const RemoteUrl& url, const ConnectOptions& options) {
  FieldValues values;
  const std::size_t port = port_colon(url.server);
  values["url"] = url.root();
  values["port"] = port < url.server.size() ? url.server.substr(port + 1) : "";
  values["ssl"] = url.scheme == "ftps";
  values["active"] = options.active;
  values["anonymous"] = options.user.empty();
  values["user"] = options.user;
  values["password"] = options.password;
  return values;
}

FieldValues option_values(const ConnectOptions& options) {
  FieldValues values;
  values["charset"] = charset_choice(options.charset);
  // The feature mask says whether the server can set times, but only where local time stamps are asked for.
  values["use_server_time"] = false;
  if (!options.proxy.type.empty()) {
    values["proxy_type"] = options.proxy.type;
    values["proxy_host"] = options.proxy.host;
    values["proxy_port"] = options.proxy.port;
    values["proxy_user"] = options.proxy.user;
    values["proxy_password"] = options.proxy.password;
  }
  return values;
}

}  // namespace ftp_host
