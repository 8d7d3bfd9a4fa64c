// OpenSSH's server for tests: an ordinary child process on a free loopback port, with keys, users and files
// of its own in a temporary folder. scripts/fetch-daemons unpacks the server; nothing is installed.
//
// It runs as `nobody` when the tests run as root, else as whoever runs them, and knows one user, "tester",
// with the password and the keys below. So file permissions count, whoever runs the tests.
//
// One thread at a time.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace servers {

struct SshdOptions {
  bool password = true;               ///< offers the method "password"
  bool keyboard_interactive = false;  ///< offers prompts instead, or besides
  bool ipv6 = false;                  ///< listens on ::1 instead of 127.0.0.1
  std::string time_zone = {};         ///< TZ of the server; empty: UTC
  std::string more_settings = {};     ///< further lines of its configuration
  /// Python program that speaks SFTP on its standard streams in the place of the server's own; empty: none.
  std::string sftp_program = {};
};

class Sshd {
 public:
  /// Returns when the port answers; throws std::runtime_error with the server's own words when it does not.
  explicit Sshd(const SshdOptions& options = {});
  Sshd(const Sshd&) = delete;
  Sshd& operator=(const Sshd&) = delete;
  ~Sshd();

  [[nodiscard]] const std::string& host() const noexcept { return host_; }  ///< without brackets
  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  /// "sftp://host:port", nothing behind it.
  [[nodiscard]] std::string url() const;
  [[nodiscard]] std::string user() const { return "tester"; }
  [[nodiscard]] std::string password() const { return "p@ss word"; }
  /// Private key of the user: "ed25519", "ed25519_phrase", "ecdsa", "ecdsa_phrase".
  [[nodiscard]] std::string key_file(const std::string& kind) const { return (folder_ / kind).string(); }
  [[nodiscard]] std::string pass_phrase() const { return "a phrase"; }

  /// The user's home, empty at first; an absolute path, here and on the server.
  [[nodiscard]] const std::filesystem::path& home() const noexcept { return home_; }
  /// Makes everything below home() the property of the server's user.
  void hand_over() const;

  /// Everything the server wrote so far.
  [[nodiscard]] std::string log() const;
  /// How often a user logged in so far.
  [[nodiscard]] std::size_t logins() const;

  /// Ends the server and its sessions; start() begins again on the same port.
  void stop();
  void start();
  /// Sends `signal` to every session, not to the server: SIGKILL hangs up, SIGSTOP makes them silent. Returns
  /// how many processes got it.
  std::size_t signal_sessions(int signal) const;
  /// Ends the SFTP process of every session; the SSH sessions go on.
  void end_sftp_processes() const;

 private:
  void prepare(const SshdOptions& options);
  bool start_once();
  [[nodiscard]] std::vector<std::string> environment(const std::string& time_zone) const;
  void run(const std::vector<std::string>& arguments) const;

  std::filesystem::path folder_;
  std::filesystem::path home_;
  std::string host_;
  std::uint16_t port_ = 0;
  std::string time_zone_;
  uid_t uid_;
  gid_t gid_;
  pid_t child_ = -1;
};

}  // namespace servers
