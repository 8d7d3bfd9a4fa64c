// Passes the bytes of TCP connections on between loopback and a server, as a network would: late, or only so
// many of them. One thread of its own; no kernel features are needed.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "tests/fakes/socket.h"

namespace fakes {

struct RelayOptions {
  std::chrono::microseconds delay{0};  ///< each way
  /// Bytes from the server after which a connection is ended; 0: never.
  std::size_t cut_after = 0;
  /// Bytes from the server behind which nothing of it arrives any more, though the connection stays; 0:
  /// never.
  std::size_t stall_after = 0;
};

/// Listens on 127.0.0.1 from construction to destruction, which ends every connection.
class Relay {
 public:
  /// `host` is 127.0.0.1 or ::1.
  Relay(const std::string& host, std::uint16_t port, RelayOptions options = {});
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay();

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  [[nodiscard]] std::size_t connections() const noexcept { return connections_; }
  /// Bytes that came from the server so far, over all connections.
  [[nodiscard]] std::size_t from_server() const noexcept { return from_server_; }
  /// The most bytes from the server that one connection ever had in flight at a time.
  [[nodiscard]] std::size_t most_in_flight() const noexcept { return most_in_flight_; }

 private:
  void run();

  int server_family_;
  std::uint16_t server_port_;
  RelayOptions options_;
  Socket listener_;
  std::uint16_t port_;
  Socket stop_;  // readable once the relay is to end
  std::atomic<std::size_t> connections_{0};
  std::atomic<std::size_t> from_server_{0};
  std::atomic<std::size_t> most_in_flight_{0};
  std::thread thread_;
};

}  // namespace fakes
