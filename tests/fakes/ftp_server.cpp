#include "tests/fakes/ftp_server.h"

#include <poll.h>
#include <strings.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "tests/fakes/file_tree.h"
#include "tests/fakes/socket.h"

namespace fakes {

// ---- gates and faults ----------------------------------------------------------------------------------

struct Gate::State {
  std::mutex lock;
  std::condition_variable changed;
  std::size_t arrived = 0;
  bool opened = false;

  void pass() {
    std::unique_lock guard{lock};
    ++arrived;
    changed.notify_all();
    changed.wait(guard, [this] { return opened; });
  }
  void open() {
    const std::lock_guard guard{lock};
    opened = true;
    changed.notify_all();
  }
};

Gate::Gate() : state_{std::make_shared<State>()} {}

void Gate::open() { state_->open(); }

bool Gate::await_arrivals(std::size_t count) {
  std::unique_lock guard{state_->lock};
  return state_->changed.wait_for(guard, kPatience, [&] { return state_->arrived >= count; });
}

struct Fault::Rule {
  std::string pattern;
  int connection = 0;  // 0: any
  int left = -1;       // negative: for ever

  std::optional<std::string> reply;
  std::string extra;
  std::shared_ptr<Gate::State> extra_gate;
  std::chrono::milliseconds delay{0};
  std::shared_ptr<Gate::State> gate;
  bool hang_up = false;
  bool hang_up_after_reply = false;
  bool silence = false;
  bool stay = false;

  enum class DataEnd { whole, early, reset, hang_up };
  DataEnd data_end = DataEnd::whole;
  std::optional<std::size_t> data_limit;
  std::shared_ptr<Gate::State> data_gate;
  std::size_t data_gate_at = 0;
  std::optional<std::string> closing;
  bool lose = false;

  [[nodiscard]] bool matches(const std::string& command, int number) const {
    if (left == 0 || (connection != 0 && connection != number)) return false;
    if (::strncasecmp(command.c_str(), pattern.c_str(), pattern.size()) != 0) return false;
    const bool verb_only = pattern.find(' ') == std::string::npos;
    return !verb_only || command.size() == pattern.size() || command[pattern.size()] == ' ';
  }
};

// ---- the server ----------------------------------------------------------------------------------------

class Session;

struct FtpServer::Impl {
  explicit Impl(bool with_ipv6);
  ~Impl() { stop(); }

  void stop();
  void accept_clients();
  void reap_finished();

  /// Waits for `events` on `fd`; false when the server stops.
  [[nodiscard]] bool await(int fd, short events) const;
  /// The same for two descriptors: -1 when the server stops, else bit 0 for the first and bit 1 for the
  /// second.
  [[nodiscard]] int await_either(int fd, short events, int other_fd, short other_events) const;
  /// Waits for this long; false when the server stops.
  [[nodiscard]] bool pause(std::chrono::milliseconds duration) const;

  template <class Change>
  auto with(Change&& change) {
    const std::lock_guard guard{lock};
    return change();
  }
  void tell() {  // an event: whoever waits for a condition asks it again
    ++events;
    changed.notify_all();
  }

  Fault::Rule record(int connection, const std::string& command);
  Fault::Rule take_rule(int connection, const std::string& command);  // with the lock held

  // A passive port that served one data connection is used again, so that thousands of transfers do not
  // use up the machine's free ports.
  Socket take_listener(int family);
  void keep_listener(int family, Socket listener);

  std::array<Socket, 2> listeners;
  Socket stop_event;
  std::array<std::uint16_t, 2> ports{};

  mutable std::mutex lock;
  mutable std::condition_variable changed;
  std::uint64_t events = 0;
  FileTree tree;
  std::vector<std::pair<int, std::string>> commands;
  std::size_t taken = 0;
  std::vector<Upload> uploads;
  std::list<Fault::Rule> rules;
  std::vector<std::shared_ptr<Gate::State>> gates;
  std::set<std::string> lacking;
  std::optional<std::pair<std::string, std::string>> account;
  std::string home = "/";
  std::size_t logins = 0;
  int seen = 0;
  std::size_t open = 0;
  std::map<int, std::vector<Socket>> idle_listeners;

  struct Client {
    std::thread thread;
    std::atomic<bool> finished{false};
  };
  std::list<Client> clients;  // touched by the accepting thread, and by stop() after that has ended
  std::atomic<bool> stopping{false};
  std::thread accepting;
};

// ---- one client ----------------------------------------------------------------------------------------

namespace {

/// Thrown within a session to end it: the peer went, the server stops, or a fault says so.
struct SessionEnds {};

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

}  // namespace

class Session {
 public:
  Session(FtpServer::Impl& server, Socket control, int number)
      : server_{server}, control_{std::move(control)}, number_{number}, cwd_{server.with([&] {
          return server.home;
        })} {}

  void run() {
    try {
      Fault::Rule greeting = server_.with([&] { return server_.take_rule(number_, "CONNECT"); });
      obey(greeting, [this] { reply("220 Scripted server ready."); });
      for (;;) {
        const std::string line = read_line();
        Fault::Rule rule = server_.record(number_, line);
        const bool says_goodbye = upper(line.substr(0, 4)) == "QUIT";
        obey(rule, [&] { carry_out(line, rule); });
        if (says_goodbye && !rule.stay) return;
      }
    } catch (const SessionEnds&) {
    } catch (const std::system_error&) {  // no port left, or the peer is gone while it is asked for
    }
  }

 private:
  using DataEnd = Fault::Rule::DataEnd;
  enum class Outcome { complete, aborted };

  template <class Ordinary>
  void obey(const Fault::Rule& rule, Ordinary&& ordinary) {
    if (rule.gate) rule.gate->pass();
    if (rule.delay.count() > 0 && !server_.pause(rule.delay)) throw SessionEnds{};
    if (rule.silence) {
      while (server_.await(control_.get(), POLLIN | POLLRDHUP) && !peer_has_gone()) {
      }
      throw SessionEnds{};
    }
    if (rule.hang_up) throw SessionEnds{};
    if (rule.reply) {
      reply(*rule.reply);
    } else {
      ordinary();
    }
    if (rule.extra_gate) rule.extra_gate->pass();
    if (!rule.extra.empty()) send_control(rule.extra);
    if (rule.hang_up_after_reply) throw SessionEnds{};
  }

  // -- control connection --

  /// Takes what has arrived. False: the peer has closed.
  bool fill_input() {
    std::array<char, 4096> block;  // NOLINT: filled by recv
    const ssize_t got = ::recv(control_.get(), block.data(), block.size(), MSG_DONTWAIT);
    if (got > 0) input_.append(block.data(), static_cast<std::size_t>(got));
    return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
  }

  /// While silent, what the client says is thrown away; only its leaving counts.
  bool peer_has_gone() {
    const bool here = fill_input();
    input_.clear();
    return !here;
  }

  std::string read_line() {
    for (;;) {
      if (const std::size_t end = input_.find('\n'); end != std::string::npos) {
        std::string line = input_.substr(0, end);
        input_.erase(0, end + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return line;
      }
      if (!server_.await(control_.get(), POLLIN) || !fill_input()) throw SessionEnds{};
    }
  }

  bool abort_is_asked() const { return upper(input_).find("ABOR\r\n") != std::string::npos; }

  void send_control(std::string_view text) {
    while (!text.empty()) {
      const ssize_t sent = ::send(control_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent > 0) {
        text.remove_prefix(static_cast<std::size_t>(sent));
      } else if (errno != EAGAIN && errno != EINTR) {
        peer_is_deaf_ = true;  // commands that the peer sent before it left are still read and recorded
        return;
      } else if (!server_.await(control_.get(), POLLOUT)) {
        throw SessionEnds{};
      }
    }
  }

  void reply(const std::string& text) {
    if (!peer_is_deaf_) send_control(text + "\r\n");
  }

  // -- data connection --

  void forget_data_port() {
    listener_.reset();
    active_port_ = 0;
  }

  /// The data connection of the command at hand; ends the session when it cannot be had.
  Socket open_data() {
    if (active_port_ != 0) return connect_to_loopback(active_family_, std::exchange(active_port_, 0));
    if (!listener_) return Socket{};
    for (;;) {
      const int ready = server_.await_either(listener_.get(), POLLIN, control_.get(), POLLIN);
      if (ready < 0) throw SessionEnds{};
      if ((ready & 1) != 0) {
        Socket data{::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
        if (data) {
          server_.keep_listener(address_family(control_), std::move(listener_));
          return data;
        }
      } else if (!fill_input()) {
        throw SessionEnds{};
      }
    }
  }

  Outcome send_data(Socket& data, std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(data.get(), bytes.data(), std::min<std::size_t>(bytes.size(), 65536),
                                  MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent > 0) {
        bytes.remove_prefix(static_cast<std::size_t>(sent));
        continue;
      }
      if (errno == EINTR) continue;
      if (errno != EAGAIN) return Outcome::aborted;  // the client closed it: it wants no more
      const int ready = server_.await_either(data.get(), POLLOUT, control_.get(), POLLIN);
      if (ready < 0) throw SessionEnds{};
      if ((ready & 2) != 0 && (!fill_input() || abort_is_asked())) return Outcome::aborted;
    }
    return Outcome::complete;
  }

  void after_data(const Fault::Rule& rule, Socket& data, Outcome outcome) {
    if (rule.data_end == DataEnd::reset) {
      data.abort();
      reply("426 Data connection broken.");
      return;
    }
    data.reset();
    if (rule.data_end == DataEnd::hang_up) throw SessionEnds{};
    if (outcome == Outcome::aborted) {
      reply("426 Transfer aborted.");
    } else {
      reply(rule.closing.value_or("226 Transfer complete."));
    }
  }

  void download(const Fault::Rule& rule, std::string_view bytes) {
    if (!listener_ && active_port_ == 0) return reply("425 Use PASV or PORT first.");
    reply("150 Here it comes.");
    Socket data = open_data();
    if (!data) return reply("425 Cannot open the data connection.");
    bytes = bytes.substr(0, rule.data_limit.value_or(bytes.size()));
    Outcome outcome = Outcome::complete;
    if (rule.data_gate) {
      const std::size_t first = std::min(rule.data_gate_at, bytes.size());
      outcome = send_data(data, bytes.substr(0, first));
      rule.data_gate->pass();
      bytes.remove_prefix(first);
    }
    if (outcome == Outcome::complete) outcome = send_data(data, bytes);
    after_data(rule, data, outcome);
  }

  void upload(const Fault::Rule& rule, const std::string& path) {
    if (!listener_ && active_port_ == 0) return reply("425 Use PASV or PORT first.");
    reply("150 Send it.");
    Socket data = open_data();
    if (!data) return reply("425 Cannot open the data connection.");
    std::string bytes;
    std::vector<char> block(65536);
    while (bytes.size() < rule.data_limit.value_or(std::string::npos)) {
      if (!server_.await(data.get(), POLLIN)) throw SessionEnds{};
      const ssize_t got = ::recv(data.get(), block.data(), block.size(), MSG_DONTWAIT);
      if (got > 0) {
        bytes.append(block.data(), static_cast<std::size_t>(got));
      } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        break;
      }
    }
    if (rule.data_end == DataEnd::whole) {
      server_.with([&] {
        if (!rule.lose) server_.tree.add_file(path, bytes, "20240102030405");
        server_.uploads.push_back({path, std::move(bytes)});
        server_.tell();
      });
    }
    after_data(rule, data, Outcome::complete);
  }

  // -- commands --

  void carry_out(const std::string& line, const Fault::Rule& rule) {
    const std::size_t blank = line.find(' ');
    const std::string verb = upper(line.substr(0, blank));
    const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (is_lacking(verb, argument)) return reply("500 Unknown command.");
    if (!log_in(verb, argument) && !describe(verb, argument) && !prepare_data(verb, argument) &&
        !transfer(verb, argument, rule) && !change(verb, argument)) {
      reply("500 Unknown command.");
    }
  }

  bool is_lacking(const std::string& verb, const std::string& argument) const {
    std::string feature = verb;
    if (verb == "MLSD") feature = "MLST";
    if (verb == "OPTS") feature = upper(argument.substr(0, argument.find(' ')));
    return server_.with([&] { return server_.lacking.contains(feature); });
  }

  bool log_in(const std::string& verb, const std::string& argument) {
    if (verb == "USER") {
      user_ = argument;
      logged_in_ = false;
      reply("331 Password, please.");
    } else if (verb == "PASS") {
      logged_in_ = server_.with([&] {
        const bool welcome = !server_.account || *server_.account == std::pair{user_, argument};
        if (welcome) ++server_.logins;
        server_.tell();
        return welcome;
      });
      reply(logged_in_ ? "230 Logged in." : "530 Login incorrect.");
    } else if (verb == "QUIT") {
      reply("221 Goodbye.");
    } else if (!logged_in_ && verb != "FEAT" && verb != "SYST" && verb != "NOOP") {
      reply(verb == "AUTH" ? "500 Unknown command." : "530 Log in first.");
    } else {
      return false;
    }
    return true;
  }

  bool describe(const std::string& verb, const std::string& argument) {
    if (verb == "SYST") {
      reply("215 UNIX Type: L8");
    } else if (verb == "NOOP" || verb == "TYPE" || verb == "MODE" || verb == "STRU" || verb == "ALLO") {
      reply("200 OK.");
    } else if (verb == "FEAT") {
      std::string text = "211-Features:\r\n";
      server_.with([&] {
        for (const auto& [name, label] : {std::pair{"EPSV", "EPSV"},
                                          {"MDTM", "MDTM"},
                                          {"MFMT", "MFMT"},
                                          {"MLST", "MLST type*;unique*;size*;modify*;"},
                                          {"REST", "REST STREAM"},
                                          {"SIZE", "SIZE"},
                                          {"UTF8", "UTF8"}}) {
          if (!server_.lacking.contains(name)) text += std::string{" "} + label + "\r\n";
        }
      });
      reply(text + "211 End");
    } else if (verb == "OPTS") {
      const std::string option = upper(argument.substr(0, argument.find(' ')));
      reply(option == "UTF8" || option == "MLST" ? "200 OK." : "501 Unknown option.");
    } else if (verb == "PWD") {
      reply("257 \"" + cwd_ + "\" is the current directory.");
    } else if (verb == "ABOR") {
      reply("226 Nothing to abort.");
    } else {
      return false;
    }
    return true;
  }

  bool prepare_data(const std::string& verb, const std::string& argument) {
    if (verb == "PASV") {
      if (address_family(control_) != AF_INET) return reply("425 Use EPSV."), true;
      forget_data_port();
      listener_ = server_.take_listener(AF_INET);
      const int port = local_port(listener_);
      reply("227 Entering Passive Mode (127,0,0,1," + std::to_string(port / 256) + "," +
            std::to_string(port % 256) + ").");
    } else if (verb == "EPSV") {
      forget_data_port();
      listener_ = server_.take_listener(address_family(control_));
      reply("229 Entering Extended Passive Mode (|||" + std::to_string(local_port(listener_)) + "|)");
    } else if (verb == "PORT") {
      forget_data_port();
      std::array<unsigned, 6> numbers{};
      if (std::sscanf(argument.c_str(), "%u,%u,%u,%u,%u,%u", &numbers[0], &numbers[1], &numbers[2],
                      &numbers[3], &numbers[4], &numbers[5]) != 6) {
        return reply("501 Bad address."), true;
      }
      active_family_ = AF_INET;
      active_port_ = static_cast<std::uint16_t>(numbers[4] * 256 + numbers[5]);
      reply("200 PORT taken.");
    } else if (verb == "EPRT") {
      forget_data_port();
      unsigned family = 0;
      unsigned port = 0;
      if (std::sscanf(argument.c_str(), "|%u|%*[^|]|%u|", &family, &port) != 2) {
        return reply("501 Bad address."), true;
      }
      active_family_ = family == 2 ? AF_INET6 : AF_INET;
      active_port_ = static_cast<std::uint16_t>(port);
      reply("200 EPRT taken.");
    } else if (verb == "REST") {
      restart_ = std::strtoull(argument.c_str(), nullptr, 10);
      reply("350 Restarting there.");
    } else {
      return false;
    }
    return true;
  }

  bool transfer(const std::string& verb, const std::string& argument, const Fault::Rule& rule) {
    if (verb == "RETR") {
      const auto bytes = server_.with([&] {
        const FileTree::Node* node = server_.tree.find(path_of(argument));
        return node == nullptr ? nullptr : node->bytes;
      });
      const std::size_t from = std::exchange(restart_, 0);
      if (!bytes) return reply("550 No such file."), true;
      if (from > bytes->size()) return reply("554 Beyond the end."), true;
      download(rule, std::string_view{*bytes}.substr(from));
    } else if (verb == "STOR") {
      restart_ = 0;
      const std::string path = path_of(argument);
      const bool allowed = server_.with([&] {
        const FileTree::Node* parent = server_.tree.find(FileTree::resolve(path, ".."));
        const FileTree::Node* node = server_.tree.find(path);
        return parent != nullptr && parent->directory && (node == nullptr || !node->directory);
      });
      if (!allowed) return reply("553 Cannot store there."), true;
      upload(rule, path);
    } else if (verb == "LIST" || verb == "MLSD") {
      const std::string path = path_of(argument.starts_with("-") ? "" : argument);
      const auto body =
          server_.with([&] { return verb == "LIST" ? server_.tree.list(path) : server_.tree.mlsd(path); });
      if (!body) return reply("550 No such directory."), true;
      download(rule, *body);
    } else {
      return false;
    }
    return true;
  }

  bool change(const std::string& verb, const std::string& argument) {
    const std::string path = path_of(argument);
    const auto answer = [&](bool done, const char* yes) { reply(done ? yes : "550 Not possible."); };
    FileTree& tree = server_.tree;
    if (verb == "CWD") {
      const bool found = server_.with([&] {
        const FileTree::Node* node = tree.find(path);
        return node != nullptr && node->directory;
      });
      if (found) cwd_ = path;
      answer(found, "250 Changed.");
    } else if (verb == "SIZE" || verb == "MDTM") {
      std::string text;
      server_.with([&] {
        const FileTree::Node* node = tree.find(path);
        if (node == nullptr || !node->bytes) return;
        text = "213 " + (verb == "SIZE" ? std::to_string(node->bytes->size()) : node->modified);
      });
      answer(!text.empty(), text.c_str());
    } else if (verb == "MFMT") {
      const std::string time = argument.substr(0, argument.find(' '));
      const std::string name = argument.size() > time.size() ? argument.substr(time.size() + 1) : "";
      const bool valid = time.size() == 14 && time.find_first_not_of("0123456789") == std::string::npos;
      const bool done = valid && server_.with([&] { return tree.set_modified(path_of(name), time); });
      answer(done, ("213 Modify=" + time + "; " + name).c_str());
    } else if (verb == "MKD") {
      answer(server_.with([&] { return tree.make_directory(path); }), "257 Created.");
    } else if (verb == "RMD") {
      answer(server_.with([&] { return tree.remove_directory(path); }), "250 Removed.");
    } else if (verb == "DELE") {
      answer(server_.with([&] { return tree.remove_file(path); }), "250 Deleted.");
    } else if (verb == "RNFR") {
      rename_from_ = path;
      answer(server_.with([&] { return tree.find(path) != nullptr; }), "350 To what?");
    } else if (verb == "RNTO") {
      const std::string from = std::exchange(rename_from_, "");
      answer(!from.empty() && server_.with([&] { return tree.move(from, path); }), "250 Renamed.");
    } else {
      return false;
    }
    return true;
  }

  std::string path_of(const std::string& argument) const { return FileTree::resolve(cwd_, argument); }

  FtpServer::Impl& server_;
  Socket control_;
  const int number_;
  std::string cwd_;
  std::string input_;
  std::string user_;
  bool logged_in_ = false;
  bool peer_is_deaf_ = false;
  Socket listener_;
  int active_family_ = AF_INET;
  std::uint16_t active_port_ = 0;
  std::size_t restart_ = 0;
  std::string rename_from_;
};

// ---- the server's threads ------------------------------------------------------------------------------

FtpServer::Impl::Impl(bool with_ipv6) : stop_event{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
  if (!stop_event) throw std::system_error{errno, std::generic_category(), "eventfd"};
  listeners[0] = listen_on_loopback(AF_INET);
  ports[0] = local_port(listeners[0]);
  if (with_ipv6) {
    listeners[1] = listen_on_loopback(AF_INET6);
    ports[1] = local_port(listeners[1]);
  }
  accepting = std::thread{[this] { accept_clients(); }};
}

int FtpServer::Impl::await_either(int fd, short wanted, int other_fd, short other_wanted) const {
  std::array<pollfd, 3> polled{{{stop_event.get(), POLLIN, 0}, {fd, wanted, 0}, {other_fd, other_wanted, 0}}};
  while (::poll(polled.data(), polled.size(), -1) < 0) {
    if (errno != EINTR) return -1;
  }
  if (polled[0].revents != 0) return -1;
  return (polled[1].revents != 0 ? 1 : 0) | (polled[2].revents != 0 ? 2 : 0);
}

bool FtpServer::Impl::await(int fd, short wanted) const { return await_either(fd, wanted, -1, 0) >= 0; }

bool FtpServer::Impl::pause(std::chrono::milliseconds duration) const {
  pollfd polled{stop_event.get(), POLLIN, 0};
  return ::poll(&polled, 1, static_cast<int>(duration.count())) == 0;
}

void FtpServer::Impl::accept_clients() {
  for (;;) {
    const int ready = await_either(listeners[0].get(), POLLIN, listeners[1].get(), POLLIN);
    if (ready < 0) return;
    const Socket& listener = listeners[(ready & 1) != 0 ? 0 : 1];
    Socket control{::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
    if (!control) continue;
    send_at_once(control);  // two replies in a row, as around a transfer, would cost 40 ms
    reap_finished();
    const int number = with([&] {
      ++open;
      tell();
      return ++seen;
    });
    Client& client = clients.emplace_back();
    client.thread = std::thread{[this, &client, number, socket = std::move(control)]() mutable {
      { Session{*this, std::move(socket), number}.run(); }
      with([&] {
        --open;
        tell();
      });
      client.finished = true;
    }};
  }
}

void FtpServer::Impl::reap_finished() {
  clients.remove_if([](Client& client) {
    if (!client.finished) return false;
    client.thread.join();
    return true;
  });
}

void FtpServer::Impl::stop() {
  if (stopping.exchange(true)) return;
  const std::uint64_t one = 1;
  if (::write(stop_event.get(), &one, sizeof one) != sizeof one) std::abort();
  accepting.join();
  with([&] {
    for (const auto& gate : gates) gate->open();
  });
  for (Client& client : clients) client.thread.join();
  clients.clear();
  listeners = {};
  idle_listeners.clear();
}

Fault::Rule FtpServer::Impl::take_rule(int connection, const std::string& command) {
  for (Fault::Rule& rule : rules) {
    if (!rule.matches(command, connection)) continue;
    if (rule.left > 0) --rule.left;
    return rule;
  }
  return {};
}

Fault::Rule FtpServer::Impl::record(int connection, const std::string& command) {
  return with([&] {
    commands.emplace_back(connection, command);
    tell();
    return take_rule(connection, command);
  });
}

Socket FtpServer::Impl::take_listener(int family) {
  return with([&] {
    std::vector<Socket>& idle = idle_listeners[family];
    if (idle.empty()) return listen_on_loopback(family);
    Socket listener = std::move(idle.back());
    idle.pop_back();
    return listener;
  });
}

void FtpServer::Impl::keep_listener(int family, Socket listener) {
  with([&] { idle_listeners[family].push_back(std::move(listener)); });
}

// ---- faults, once more ---------------------------------------------------------------------------------

Fault::Fault(FtpServer& server, std::string pattern) : server_{server}, rule_{std::make_unique<Rule>()} {
  rule_->pattern = std::move(pattern);
}

Fault::~Fault() {
  FtpServer::Impl& server = *server_.impl_;
  server.with([&] {
    for (const auto& gate : {rule_->gate, rule_->extra_gate, rule_->data_gate}) {
      if (gate) server.gates.push_back(gate);
    }
    server.rules.push_back(std::move(*rule_));
  });
}

Fault& Fault::reply(std::string text) { return rule_->reply = std::move(text), *this; }
Fault& Fault::extra(std::string bytes) { return rule_->extra = std::move(bytes), *this; }
Fault& Fault::extra(std::string bytes, const Gate& gate) {
  rule_->extra_gate = gate.state();
  return extra(std::move(bytes));
}
Fault& Fault::delay(std::chrono::milliseconds pause) { return rule_->delay = pause, *this; }
Fault& Fault::hold(const Gate& gate) { return rule_->gate = gate.state(), *this; }
Fault& Fault::hang_up() { return rule_->hang_up = true, *this; }
Fault& Fault::hang_up_after_reply() { return rule_->hang_up_after_reply = true, *this; }
Fault& Fault::silence() { return rule_->silence = true, *this; }
Fault& Fault::stay() { return rule_->stay = true, *this; }
Fault& Fault::closing(std::string text) { return rule_->closing = std::move(text), *this; }
Fault& Fault::lose() { return rule_->lose = true, *this; }
Fault& Fault::times(int count) { return rule_->left = count, *this; }
Fault& Fault::on_connection(int number) { return rule_->connection = number, *this; }

Fault& Fault::end_data_after(std::size_t count) {
  rule_->data_end = Rule::DataEnd::early;
  rule_->data_limit = count;
  return *this;
}

Fault& Fault::break_data_after(std::size_t count) {
  rule_->data_end = Rule::DataEnd::reset;
  rule_->data_limit = count;
  return *this;
}

Fault& Fault::hang_up_after_data(std::size_t count) {
  rule_->data_end = Rule::DataEnd::hang_up;
  rule_->data_limit = count;
  return *this;
}

Fault& Fault::hold_data_after(std::size_t count, const Gate& gate) {
  rule_->data_gate = gate.state();
  rule_->data_gate_at = count;
  return *this;
}

// ---- the public face -----------------------------------------------------------------------------------

FtpServer::FtpServer(bool with_ipv6) : impl_{std::make_unique<Impl>(with_ipv6)} {}
FtpServer::~FtpServer() = default;

void FtpServer::stop() { impl_->stop(); }

std::uint16_t FtpServer::port() const { return impl_->ports[0]; }

std::string FtpServer::url(const std::string& path) const {
  return "ftp://127.0.0.1:" + std::to_string(impl_->ports[0]) + path;
}

std::string FtpServer::url6(const std::string& path) const {
  return "ftp://[::1]:" + std::to_string(impl_->ports[1]) + path;
}

void FtpServer::add_file(const std::string& path, std::string bytes, std::string modified) {
  impl_->with([&] { impl_->tree.add_file(path, std::move(bytes), std::move(modified)); });
}

void FtpServer::add_directory(const std::string& path, std::string modified) {
  impl_->with([&] { impl_->tree.add_directory(path, std::move(modified)); });
}

void FtpServer::set_list(const std::string& path, std::string raw) {
  impl_->with([&] { impl_->tree.set_list(path, std::move(raw)); });
}

void FtpServer::set_mlsd(const std::string& path, std::string raw) {
  impl_->with([&] { impl_->tree.set_mlsd(path, std::move(raw)); });
}

std::optional<std::string> FtpServer::file(const std::string& path) const {
  return impl_->with([&]() -> std::optional<std::string> {
    const FileTree::Node* node = impl_->tree.find(path);
    if (node == nullptr || !node->bytes) return std::nullopt;
    return *node->bytes;
  });
}

std::vector<FtpServer::Upload> FtpServer::uploads() const {
  return impl_->with([&] { return impl_->uploads; });
}

void FtpServer::accept_only(std::string user, std::string password) {
  impl_->with([&] { impl_->account.emplace(std::move(user), std::move(password)); });
}

void FtpServer::start_in(std::string directory) {
  impl_->with([&] { impl_->home = std::move(directory); });
}

void FtpServer::lacks(const std::string& feature) {
  impl_->with([&] { impl_->lacking.insert(feature); });
}

void FtpServer::forget_faults() {
  impl_->with([&] { impl_->rules.clear(); });
}

std::vector<std::string> FtpServer::dialogue() const {
  return impl_->with([&] {
    std::vector<std::string> lines;
    for (const auto& [number, text] : impl_->commands) lines.push_back(std::to_string(number) + ": " + text);
    return lines;
  });
}

std::vector<std::string> FtpServer::dialogue(int connection) const {
  return impl_->with([&] {
    std::vector<std::string> lines;
    for (const auto& [number, text] : impl_->commands) {
      if (number == connection) lines.push_back(text);
    }
    return lines;
  });
}

std::vector<std::string> FtpServer::take_dialogue() {
  std::vector<std::string> lines = dialogue();
  return impl_->with([&] {
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(impl_->taken));
    impl_->taken += lines.size();
    return lines;
  });
}

std::size_t FtpServer::count(const std::string& verb) const {
  return impl_->with([&] {
    return static_cast<std::size_t>(
        std::count_if(impl_->commands.begin(), impl_->commands.end(), [&](const auto& command) {
          return command.second == verb || command.second.starts_with(verb + " ");
        }));
  });
}

std::size_t FtpServer::logins() const {
  return impl_->with([&] { return impl_->logins; });
}

std::size_t FtpServer::connections_seen() const {
  return impl_->with([&] { return static_cast<std::size_t>(impl_->seen); });
}

std::size_t FtpServer::open_connections() const {
  return impl_->with([&] { return impl_->open; });
}

bool FtpServer::wait_for(const std::function<bool()>& condition, std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    const std::uint64_t before = impl_->with([&] { return impl_->events; });
    if (condition()) return true;
    std::unique_lock guard{impl_->lock};
    if (!impl_->changed.wait_until(guard, deadline, [&] { return impl_->events != before; })) return false;
  }
}

bool FtpServer::wait_until_idle() const {
  return wait_for([this] { return open_connections() == 0; });
}

}  // namespace fakes
