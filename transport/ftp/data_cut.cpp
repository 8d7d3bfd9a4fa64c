#include "transport/ftp/data_cut.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace ftp_plugin {

bool data_cut::cut(curl_socket_t data) noexcept {
  std::array<int, 2> pair{};
  // libcurl 8 reads without asking whether there is something to read.
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair.data()) != 0) return false;
  const descriptor near_end{pair[0]};
  descriptor far_end{pair[1]};
  const linger at_once{1, 0};
  if (setsockopt(data, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once) != 0) return false;
  // Closes the TCP socket and takes its number in one go.
  if (dup3(near_end.get(), data, O_CLOEXEC) < 0) return false;
  far_end_ = std::move(far_end);
  return true;
}

}  // namespace ftp_plugin
