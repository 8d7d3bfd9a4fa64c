#include "transport/ftp/received_bytes.h"

#include <linux/tcp.h>  // the C library's own record is older and has no count of bytes
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstddef>

namespace ftp_plugin {

std::optional<std::int64_t> bytes_received(curl_socket_t socket) noexcept {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return std::nullopt;
  if (size < offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received) return std::nullopt;
  return static_cast<std::int64_t>(info.tcpi_bytes_received);
}

std::int64_t bytes_waiting(curl_socket_t socket) noexcept {
  int waiting = 0;
  return ioctl(socket, FIONREAD, &waiting) == 0 ? waiting : 0;
}

std::optional<std::int64_t> bytes_read(curl_socket_t socket) noexcept {
  constexpr int kMostTries = 100;
  std::optional<std::int64_t> before = bytes_received(socket);
  for (int n = 0; n < kMostTries && before.has_value(); ++n) {
    const std::int64_t waiting = bytes_waiting(socket);
    const std::optional<std::int64_t> after = bytes_received(socket);
    if (after == before) return *after - waiting;  // nothing came while we looked
    before = after;
  }
  return std::nullopt;
}

}  // namespace ftp_plugin
