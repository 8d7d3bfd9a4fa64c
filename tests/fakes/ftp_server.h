// A scripted FTP server inside the test process, on a free port of the loopback interface. It serves a small
// tree from memory on any number of connections, writes down every command with the number of the connection
// it came on, and misbehaves as told, one line for each fault:
//
//   FtpServer server;
//   server.add_file("/docs/a.txt", "hello");
//   server.on("PASV").reply("227 nonsense").times(3);
//   server.on("RETR /docs/a.txt").end_data_after(2);
//   ...
//   EXPECT_THAT(server.dialogue(), ElementsAre("1: USER anonymous", ...));
//
// Nothing here sleeps to let something happen: wait_for() waits for a condition, a Gate holds a command until
// the test lets it go. Every function may be called from any thread while clients are connected. The
// destructor hangs up on everybody and joins every thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/ftp_fault.h"
#include "tests/fakes/ftp_gate.h"

namespace fakes {

class FtpServer {
 public:
  struct Upload {
    std::string path;
    std::string bytes;
  };

  /// Listens on 127.0.0.1; `with_ipv6` adds ::1 on a port of its own.
  explicit FtpServer(bool with_ipv6 = false);
  FtpServer(const FtpServer&) = delete;
  FtpServer& operator=(const FtpServer&) = delete;
  ~FtpServer();

  [[nodiscard]] std::uint16_t port() const;
  /// "ftp://127.0.0.1:PORT" and `path` behind it.
  [[nodiscard]] std::string url(const std::string& path = "") const;
  [[nodiscard]] std::string url6(const std::string& path = "") const;

  /// Hangs up on everybody, joins every thread and stops listening. What was recorded stays readable.
  void stop();

  // The tree. Paths are absolute, missing parents are created, times are UTC as YYYYMMDDhhmmss.
  void add_file(const std::string& path, std::string bytes, std::string modified = "20240102030405");
  void add_directory(const std::string& path, std::string modified = "20240102030405");
  /// Replaces the listing of a directory, byte for byte.
  void set_list(const std::string& path, std::string raw);
  void set_mlsd(const std::string& path, std::string raw);
  /// Bytes of a file; nothing when there is no such file.
  [[nodiscard]] std::optional<std::string> file(const std::string& path) const;
  /// Every upload that was received to its end, the lost ones included.
  [[nodiscard]] std::vector<Upload> uploads() const;

  // Manners.
  /// From here on only this name and password are let in; without it, anybody is.
  void accept_only(std::string user, std::string password);
  /// What PWD answers after the login; the directory must exist when relative paths are to work.
  void start_in(std::string directory);
  /// Strikes a feature ("MLST", "UTF8", "MFMT", "MDTM", "SIZE", "EPSV", "REST") from the FEAT reply and
  /// refuses its commands as unknown.
  void lacks(const std::string& feature);
  /// A fault for each command that begins with `pattern`, a verb alone or with the start of its argument,
  /// letter case ignored. "CONNECT" stands for the moment before the greeting.
  [[nodiscard]] Fault on(std::string pattern) { return Fault{*state_, std::move(pattern)}; }
  void forget_faults();

  // What happened.
  /// Every command in the order of arrival, as "NUMBER: TEXT".
  [[nodiscard]] std::vector<std::string> dialogue() const;
  /// The commands of one connection, the first being number 1, without the number.
  [[nodiscard]] std::vector<std::string> dialogue(int connection) const;
  /// The dialogue since the last call of this function.
  [[nodiscard]] std::vector<std::string> take_dialogue();
  [[nodiscard]] std::size_t count(const std::string& verb) const;
  /// Accepted logins.
  [[nodiscard]] std::size_t logins() const;
  [[nodiscard]] std::size_t connections_seen() const;
  [[nodiscard]] std::size_t open_connections() const;
  /// Waits until `condition` holds. It is asked again after each event of the server, without any lock held.
  [[nodiscard]] bool wait_for(const std::function<bool()>& condition,
                              std::chrono::milliseconds patience = kPatience) const;
  /// Waits until every client has gone: the dialogue is complete then.
  [[nodiscard]] bool wait_until_idle() const;

 private:
  std::unique_ptr<FtpServerState> state_;
};

}  // namespace fakes
