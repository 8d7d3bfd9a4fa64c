// Owner of a socket, and the loopback set-up that the scripted server needs.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace fakes {

class Socket {
 public:
  Socket() = default;
  explicit Socket(int fd) noexcept : fd_{fd} {}
  Socket(Socket&& other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
  Socket& operator=(Socket&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~Socket() { reset(); }

  explicit operator bool() const noexcept { return fd_ >= 0; }
  [[nodiscard]] int get() const noexcept { return fd_; }
  void reset() noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }
  /// Closes with a reset instead of an orderly end.
  void abort() noexcept {
    const linger now{1, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    reset();
  }

 private:
  int fd_ = -1;
};

/// Listens on a free port of the loopback address of `family`; throws std::system_error.
[[nodiscard]] Socket listen_on_loopback(int family);
/// A connection to this port of this machine; empty when nobody listens there.
[[nodiscard]] Socket connect_to_loopback(int family, std::uint16_t port);
/// Small pieces are sent without waiting for the peer's acknowledgement of the ones before.
void send_at_once(const Socket& socket);
[[nodiscard]] std::uint16_t local_port(const Socket& socket);
[[nodiscard]] int address_family(const Socket& socket);

}  // namespace fakes
