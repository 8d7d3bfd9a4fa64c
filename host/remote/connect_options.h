// What the user says about the connection, and how it goes into the plug-in's documents.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/remote/documents.h"
#include "host/remote/remote_path.h"

namespace ftp_host {

struct Proxy {
  std::string type;  ///< a choice of the option document, such as "SOCKS5"
  std::string host;
  std::string port;
  std::string user;
  std::string password;
};

struct ConnectOptions {
  std::string user;  ///< empty: log in anonymously
  std::string password;
  bool active = false;
  std::string charset = "auto";  ///< "auto", "utf8" or "local"
  Proxy proxy;                   ///< `type` empty: none
  std::int64_t limit_rate = 0;   ///< bytes per second; 0: no limit
};

/// "socks5://user@host:1080"; the types are socks4, socks5, http-tunnel and http. Throws a Failure (usage).
[[nodiscard]] Proxy parse_proxy(std::string_view text);

/// "512K", "1.5M" or plain bytes, K being 1024. Throws a Failure (usage) that names `what`.
[[nodiscard]] std::int64_t parse_byte_count(std::string_view text, std::string_view what);

[[nodiscard]] FieldValues login_values(const RemoteUrl& url, const ConnectOptions& options);
[[nodiscard]] FieldValues option_values(const ConnectOptions& options);

}  // namespace ftp_host
