// What the start_ functions of daemons.h are made of: the folder, the port and the process of one server.
// For daemons.cpp, proxies.cpp and daemon_state.cpp only.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/servers/daemons.h"
#include "tests/servers/disk.h"

namespace servers {

inline const std::string kUser = "tester";
// The bytes that a URL, a colon list or a quoted text would stumble over belong into every login of a test.
inline const std::string kPassword = "p@ss:w/rd 1";
// SHA-512 crypt of kPassword; the servers with user files of their own take it so.
inline const std::string kPasswordHash =
    "$6$livetest$NowlMoyfiurZhRjfJ61i/rFgJF4M4vcfiN/JEhtGoacGAnIImumOez/yp85skRk06w9OXDdzQhI1PmWeRPy1j/";

// Data connections come from above the servers' own ports.
inline const std::string kFirstDataPort = "49200";
inline const std::string kLastDataPort = "65500";

[[noreturn]] void fail(const std::string& text);

[[nodiscard]] bool is_root();
/// Whom the servers serve files as.
[[nodiscard]] std::pair<uid_t, gid_t> server_user();
void give_to_server(const std::filesystem::path& path);

void write_text(const std::filesystem::path& path, const std::string& text,
                std::filesystem::perms mode = std::filesystem::perms{0644});
/// Runs a helper program to its end; a program that fails, fails the test.
void run(const std::vector<std::string>& command);
[[nodiscard]] std::string quoted(const std::filesystem::path& path);

class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_{fd} {}
  Fd(Fd&& other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Fd() { reset(); }
  void reset();
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_ = -1;
};

/// Other users may look into it: the servers do.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(TemporaryFolder&&) = delete;
  ~TemporaryFolder();
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// A port that no other test takes meanwhile: it is reserved by an abstract socket name, which goes with the
/// process, and nothing listens on it.
struct Port {
  std::uint16_t number = 0;
  Fd reservation;
};

/// A daemon under its guard; see daemon_guard.
class Process {
 public:
  Process() = default;
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { stop(); }

  void start(const std::filesystem::path& folder, const std::filesystem::path& log,
             const std::vector<std::string>& command, const std::map<std::string, std::string>& variables);
  [[nodiscard]] bool running();
  void stop();

 private:
  pid_t guard_ = 0;
  Fd lifetime_;
};

struct Daemon::State {
  std::string name;
  std::string scheme = "ftp";
  std::string host = "127.0.0.1";
  std::string remote_root;
  std::string password = kPassword;
  TemporaryFolder folder;
  std::filesystem::path served = folder.path() / "files";
  std::filesystem::path logs = folder.path() / "logs";
  Port port;
  std::map<std::string, std::string> variables;  ///< of the daemon's environment
  Process process;

  State(std::string daemon_name, const DaemonOptions& options);

  /// A file of the unpacked packages; fails when it is not there.
  [[nodiscard]] static std::filesystem::path unpacked(const std::string& path);
  [[nodiscard]] static std::filesystem::path library_folder();
  /// A file of the daemon's own in its folder.
  [[nodiscard]] std::filesystem::path file(const std::string& path) const { return folder.path() / path; }

  void need_root() const;
  /// The user that a daemon asks the system for.
  void add_system_user();
  /// key.pem and cert.pem, for another name than the server's: whoever looks at names cannot log in.
  void make_certificate() const;

  [[nodiscard]] std::string log() const;
  /// `greets`: the server speaks first, and is ready when it has.
  void start(const std::vector<std::string>& command, bool greets);

 private:
  [[nodiscard]] bool answers(bool greets, std::chrono::steady_clock::time_point deadline) const;
};

}  // namespace servers
