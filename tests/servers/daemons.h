// Real servers for tests: each an ordinary child process on a free port of the loopback interface, with its
// configuration, its files and its log in a temporary folder of its own.
//
//   Daemon server = start_proftpd({.tls = Tls::kExplicit});
//   server.add_file("docs/a.txt", "hello");
//   ... log in to server.url() as server.user() with server.password() ...
//
// A start_ function returns when the port answers, and throws std::runtime_error with the daemon's own words
// when it does not, or when the daemon is not there at all (scripts/fetch-daemons unpacks them): a test
// without its server fails. The destructor ends the server and all its sessions; should the test die before,
// the server ends all the same.
//
// The servers run with the rights to change users when the tests do (root), and serve the files as `nobody`.
// Without these rights only some of them start; the others say so.
//
// A Daemon is used by one thread at a time.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace servers {

enum class Tls {
  kNone,
  kExplicit,  ///< offered and not demanded: AUTH TLS
  kImplicit,  ///< from the first byte
};

/// What a server is to be like. A server that has no such choice refuses with std::invalid_argument.
struct DaemonOptions {
  Tls tls = Tls::kNone;
  bool session_reuse = true;    ///< a data connection must resume the TLS session of its control connection
  bool machine_listing = true;  ///< false: LIST is all it knows, neither MLSD nor MFMT (ProFTPD)
  bool utf8 = true;             ///< false: "OPTS UTF8 ON" is refused (ProFTPD)
  bool ipv6 = false;            ///< listens on ::1 instead of 127.0.0.1
  std::string time_zone = {};   ///< TZ of the server; empty: that of the test
};

/// One running server.
class Daemon {
 public:
  struct State;
  explicit Daemon(std::unique_ptr<State> state);
  Daemon(Daemon&&) noexcept;
  Daemon& operator=(Daemon&&) noexcept;
  ~Daemon();

  [[nodiscard]] const std::string& name() const;  ///< "ProFTPD", ...
  [[nodiscard]] const std::string& host() const;  ///< an address, without brackets
  [[nodiscard]] std::uint16_t port() const;
  [[nodiscard]] const std::string& user() const;
  [[nodiscard]] const std::string& password() const;
  /// The folder that the server serves, for comparing with the disk.
  [[nodiscard]] const std::filesystem::path& folder() const;
  /// Where folder() is on the server: empty when it is the server's root, else a path that begins with "/".
  [[nodiscard]] const std::string& remote_root() const;
  /// URL of folder() as the login document takes it: "ftps" stands for both kinds of TLS; ends in "/".
  [[nodiscard]] std::string url() const;
  /// Everything the server wrote so far, for a failing test.
  [[nodiscard]] std::string log() const;

  /// Creates a file below folder(), its parents included, as the server's user. `modified` 0 means now.
  std::filesystem::path add_file(const std::string& path, std::string_view bytes, std::time_t modified = 0);
  std::filesystem::path add_folder(const std::string& path);
  /// Makes everything below folder() the property of the server's user.
  void hand_over();

  /// Ends the server now; what it served stays until the destructor.
  void stop();

 private:
  std::unique_ptr<State> state_;
};

/// FTP and TLS both ways; MLSD, MFMT.
[[nodiscard]] Daemon start_proftpd(const DaemonOptions& options = {});
/// FTP and TLS both ways; LIST only.
[[nodiscard]] Daemon start_vsftpd(const DaemonOptions& options = {});
/// FTP and explicit TLS; MLSD, MFMT.
[[nodiscard]] Daemon start_pure_ftpd(const DaemonOptions& options = {});
/// FTP and explicit TLS; MLSD, MFMT.
[[nodiscard]] Daemon start_pyftpdlib(const DaemonOptions& options = {});
/// FTP only; its LIST begins with "total N".
[[nodiscard]] Daemon start_inetutils_ftpd(const DaemonOptions& options = {});
/// SFTP with a password, by ProFTPD's module.
[[nodiscard]] Daemon start_proftpd_sftp(const DaemonOptions& options = {});

// Proxies. host() and port() say where they listen, user() and password() what they ask for when
// `credentials` is set; folder() and url() have no meaning.

/// SOCKS4 and SOCKS5 without credentials, by Dante.
[[nodiscard]] Daemon start_dante();
/// SOCKS5 by microsocks.
[[nodiscard]] Daemon start_microsocks(bool credentials = false);
/// HTTP with CONNECT to any port, by tinyproxy.
[[nodiscard]] Daemon start_tinyproxy(bool credentials = false);
/// HTTP with CONNECT to any port, and ftp:// URLs, by Squid.
[[nodiscard]] Daemon start_squid(bool credentials = false);

}  // namespace servers
