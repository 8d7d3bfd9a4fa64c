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
#include <vector>

namespace fakes {

/// How long a wait lasts before it gives up. Generous: only a failing test waits for so long.
inline constexpr std::chrono::seconds kPatience{30};

/// Holds the commands that arrive at it until open() lets them go; from then on it holds nothing.
class Gate {
 public:
  Gate();
  void open();
  /// Waits until `count` commands have arrived, the released ones included; false when kPatience is over.
  [[nodiscard]] bool await_arrivals(std::size_t count);

  struct State;
  [[nodiscard]] const std::shared_ptr<State>& state() const { return state_; }

 private:
  std::shared_ptr<State> state_;
};

class FtpServer;

/// What the server does instead of, or around, the ordinary answer to a command. It takes effect when the
/// statement that writes it ends. Of several for one command, the first that is not used up applies.
class Fault {
 public:
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  ~Fault();

  /// Answers with this text (the line end is added) and does not carry out the command.
  Fault& reply(std::string text);
  /// Sends these bytes, as they are, behind the reply.
  Fault& extra(std::string bytes);
  /// The same, once the gate is open: the client has read the reply by itself.
  Fault& extra(std::string bytes, const Gate& gate);
  Fault& delay(std::chrono::milliseconds pause);
  /// Waits at the gate before anything else is done.
  Fault& hold(const Gate& gate);
  /// Closes the control connection instead of replying.
  Fault& hang_up();
  Fault& hang_up_after_reply();
  /// Never answers; the connection stays until the client or the test ends it.
  Fault& silence();
  /// Keeps the connection after the reply to QUIT.
  Fault& stay();

  /// Ends the data after `count` bytes and reports success.
  Fault& end_data_after(std::size_t count);
  /// Resets the data connection after `count` bytes and reports 426.
  Fault& break_data_after(std::size_t count);
  /// Closes data and control connection after `count` bytes.
  Fault& hang_up_after_data(std::size_t count);
  /// Sends `count` bytes, then waits at the gate, then sends the rest.
  Fault& hold_data_after(std::size_t count, const Gate& gate);
  /// Sends this text, not "226 ...", when the data is through.
  Fault& closing(std::string text);
  /// Takes an upload, says 226 and loses it.
  Fault& lose();

  /// Applies to the first `count` matching commands only; without it, to all of them.
  Fault& times(int count);
  Fault& on_connection(int number);

  struct Rule;

 private:
  friend class FtpServer;
  Fault(FtpServer& server, std::string pattern);

  FtpServer& server_;
  std::unique_ptr<Rule> rule_;
};

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
  [[nodiscard]] Fault on(std::string pattern) { return Fault{*this, std::move(pattern)}; }
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

  struct Impl;

 private:
  friend class Fault;
  std::unique_ptr<Impl> impl_;
};

}  // namespace fakes
