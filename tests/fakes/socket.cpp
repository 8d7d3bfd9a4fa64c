#include "tests/fakes/socket.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>

#include <cerrno>
#include <system_error>

namespace fakes {
namespace {

/// An address big enough for both families.
struct Address {
  sockaddr_storage storage{};
  socklen_t length = sizeof(sockaddr_storage);

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

Address loopback(int family, std::uint16_t port) {
  Address address;
  if (family == AF_INET6) {
    auto& v6 = reinterpret_cast<sockaddr_in6&>(address.storage);
    v6.sin6_family = AF_INET6;
    v6.sin6_addr = in6addr_loopback;
    v6.sin6_port = htons(port);
    address.length = sizeof v6;
  } else {
    auto& v4 = reinterpret_cast<sockaddr_in&>(address.storage);
    v4.sin_family = AF_INET;
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    v4.sin_port = htons(port);
    address.length = sizeof v4;
  }
  return address;
}

Address local_address(const Socket& socket) {
  Address address;
  if (::getsockname(socket.get(), address.get(), &address.length) != 0) {
    throw std::system_error{errno, std::generic_category(), "getsockname"};
  }
  return address;
}

}  // namespace

Socket listen_on_loopback(int family) {
  Socket socket{::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
  Address address = loopback(family, 0);
  if (!socket || ::bind(socket.get(), address.get(), address.length) != 0 ||
      ::listen(socket.get(), SOMAXCONN) != 0) {
    throw std::system_error{errno, std::generic_category(), "listen on loopback"};
  }
  return socket;
}

Socket connect_to_loopback(int family, std::uint16_t port) {
  Socket socket{::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  Address address = loopback(family, port);
  if (!socket || ::connect(socket.get(), address.get(), address.length) != 0) return Socket{};
  return socket;
}

void send_at_once(const Socket& socket) {
  const int on = 1;
  ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

std::uint16_t local_port(const Socket& socket) {
  Address address = local_address(socket);
  return ntohs(address.storage.ss_family == AF_INET6
                   ? reinterpret_cast<sockaddr_in6&>(address.storage).sin6_port
                   : reinterpret_cast<sockaddr_in&>(address.storage).sin_port);
}

int address_family(const Socket& socket) { return local_address(socket).storage.ss_family; }

}  // namespace fakes
