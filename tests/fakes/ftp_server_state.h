// What the connections of one scripted FTP server share: its tree, its faults, its record, and the threads
// that accept and serve clients. For the parts of the server only.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/fakes/file_tree.h"
#include "tests/fakes/ftp_fault_rule.h"
#include "tests/fakes/ftp_gate.h"
#include "tests/fakes/ftp_server.h"
#include "tests/fakes/socket.h"

namespace fakes {

struct FtpServerState {
  explicit FtpServerState(bool with_ipv6);
  ~FtpServerState() { stop(); }

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

  FaultRule record(int connection, const std::string& command);
  FaultRule take_rule(int connection, const std::string& command);  // with the lock held

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
  std::vector<FtpServer::Upload> uploads;
  std::list<FaultRule> rules;
  std::vector<Gate> gates;
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

}  // namespace fakes
