#include "transport/request/curl_callbacks.h"

#include <event2/buffer.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace ftp_plugin {
namespace {
constexpr int kSendBufferBytes = 1 << 20;
}  // namespace

std::size_t discard_body(char*, std::size_t size, std::size_t count, void*) noexcept { return size * count; }

std::size_t append_to_buffer(char* data, std::size_t size, std::size_t count, void* buffer) noexcept {
  const std::size_t total = size * count;
  return evbuffer_add(static_cast<evbuffer*>(buffer), data, total) == 0 ? total : 0;
}

std::size_t read_from_cursor(char* out, std::size_t size, std::size_t count, void* cursor) noexcept {
  auto* from = static_cast<read_cursor*>(cursor);
  if (from == nullptr || from->position >= from->length) return 0;
  const std::size_t taken = std::min<std::uint64_t>(size * count, from->length - from->position);
  if (taken != 0) std::memcpy(out, from->data + from->position, taken);
  from->position += taken;
  return taken;
}

int seek_cursor(void* cursor, curl_off_t offset, int origin) noexcept {
  auto* to = static_cast<read_cursor*>(cursor);
  if (to == nullptr) return CURL_SEEKFUNC_FAIL;
  const auto distance = static_cast<std::uint64_t>(offset);  // a step back wraps round to the right place
  if (origin == SEEK_SET) to->position = distance;
  if (origin == SEEK_CUR) to->position += distance;
  if (origin == SEEK_END) to->position = to->length + distance;
  return CURL_SEEKFUNC_OK;
}

int enlarge_send_buffer(void*, curl_socket_t socket, curlsocktype) noexcept {
  // A smaller buffer than asked for still sends everything, so a refusal is no reason to fail.
  (void)setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSendBufferBytes, sizeof kSendBufferBytes);
  return CURL_SOCKOPT_OK;
}

}  // namespace ftp_plugin
