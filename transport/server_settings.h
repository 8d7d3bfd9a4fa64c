// What the transport knows of one configured server: plain values, read once from the map of texts that the
// host filled in. Who logs in, which proxy is used and what each boolean means is decided here and nowhere
// else. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "transport/settings.h"

namespace ftp_plugin {

/// How a server URL begins. Small letters only: libcurl takes other letters too, and guesses a scheme where
/// there is none, but then the settings tell of no kind of server, or of an earlier one.
enum class url_scheme : std::uint8_t { kNone, kFtp, kFtps, kSftp };
[[nodiscard]] url_scheme scheme_of(std::string_view url) noexcept;
inline constexpr std::string_view kFtpScheme = "ftp://";
inline constexpr std::string_view kFtpsScheme = "ftps://";
inline constexpr std::string_view kSftpScheme = "sftp://";

/// What "type" says. FTPS is kFtp; an unknown kind is treated like FTP, but asked for none of its features.
enum class server_kind : std::uint8_t { kUnknown, kFtp, kSftp };
[[nodiscard]] server_kind kind_of(const settings_map& map);

/// Which encoding names have on the server: what the server says, the locale's, or UTF-8 in any case.
enum class charset_choice : std::uint8_t { kAutomatic, kLocal, kUtf8 };

/// kUnnamed is a proxy whose "proxy_type" says nothing that is known: libcurl's default type.
enum class proxy_kind : std::uint8_t { kNone, kSocks4, kSocks5, kHttpTunnel, kHttp, kUnnamed };

struct proxy_settings {
  proxy_kind kind = proxy_kind::kNone;
  std::string host;
  long port = 0;            ///< as atoi() reads the setting; 0 is libcurl's default
  std::string credentials;  ///< "user:password", "user" or ":password"; empty for none
};

/// Who logs in, and with what. Empty means that there is none.
struct credentials {
  std::string user;
  std::string password;
  std::string key_file;     ///< a private key, on SFTP only: then the key alone counts, and no password
  std::string pass_phrase;  ///< of the key
};

struct server_settings {
  std::string url;  ///< the base of every request; empty when the map has none
  url_scheme scheme = url_scheme::kNone;
  server_kind kind = server_kind::kUnknown;
  bool asks_for_tls = false;  ///< on an ftp URL, if the server offers it
  bool active_mode = false;
  charset_choice charset = charset_choice::kAutomatic;
  credentials login;
  proxy_settings proxy;

  [[nodiscard]] bool is_sftp() const noexcept { return kind == server_kind::kSftp; }
  /// Whether TLS will be spoken or asked for.
  [[nodiscard]] bool wants_tls() const noexcept { return asks_for_tls || scheme == url_scheme::kFtps; }
};

/// Reads the map. Every text counts exactly as it stands: "TRUE" is not "true", "socks5" no known proxy.
/// Errors     std::bad_alloc.
[[nodiscard]] server_settings read_settings(const settings_map& map);

/// Whether no part of the credentials holds a CR or LF. An FTP server would read what follows a line break as
/// a command of its own; for SFTP the rule is the same, so that a login does not depend on the kind of
/// server.
[[nodiscard]] bool is_one_line(const credentials& login) noexcept;

}  // namespace ftp_plugin
