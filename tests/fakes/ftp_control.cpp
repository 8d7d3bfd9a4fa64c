#include "tests/fakes/ftp_control.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <utility>

#include "tests/fakes/ftp_server_state.h"

namespace fakes {

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

FtpControl::FtpControl(const FtpServerState& server, Socket socket)
    : server_{server}, socket_{std::move(socket)} {}

bool FtpControl::fill_input() {
  std::array<char, 4096> block;  // NOLINT: filled by recv
  const ssize_t got = ::recv(fd(), block.data(), block.size(), MSG_DONTWAIT);
  if (got > 0) input_.append(block.data(), static_cast<std::size_t>(got));
  return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
}

bool FtpControl::peer_has_gone() {
  const bool here = fill_input();
  input_.clear();
  return !here;
}

std::string FtpControl::read_line() {
  for (;;) {
    if (const std::size_t end = input_.find('\n'); end != std::string::npos) {
      std::string line = input_.substr(0, end);
      input_.erase(0, end + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      return line;
    }
    if (!server_.await(fd(), POLLIN) || !fill_input()) throw SessionEnds{};
  }
}

bool FtpControl::abort_is_asked() const { return upper(input_).find("ABOR\r\n") != std::string::npos; }

void FtpControl::send(std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = ::send(fd(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      text.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno != EAGAIN && errno != EINTR) {
      peer_is_deaf_ = true;  // commands that the peer sent before it left are still read and recorded
      return;
    } else if (!server_.await(fd(), POLLOUT)) {
      throw SessionEnds{};
    }
  }
}

void FtpControl::reply(const std::string& text) {
  if (!peer_is_deaf_) send(text + "\r\n");
}

}  // namespace fakes
