#include "fileops/read_context.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "boundary/log.h"

namespace ftp_plugin {
namespace {

void deliver_block(_RAWRITECTX& context) {
  context.callback->Deliver(context.offset, context.buffer, context.fill, 0);
  context.offset += context.fill;
  context.remaining -= context.fill;
  context.fill = 0;
}

}  // namespace

bool is_stopped(const std::shared_ptr<_FS_HANDLE>& handle) noexcept {
  if (handle == nullptr) return false;
  return std::atomic_ref{handle->state}.load(std::memory_order_acquire) >= FS_HANDLE_STOP;
}

std::size_t write_callback_cache_func(char* data, std::size_t size, std::size_t nmemb,
                                      void* userdata) noexcept {
  try {
    auto& context = *static_cast<_RAWRITECTX*>(userdata);
    const std::size_t total = size * nmemb;
    std::size_t left = total;
    while (left != 0 && !is_stopped(context.handle)) {
      const std::size_t n = std::min(left, static_cast<std::size_t>(kReadBlockSize - context.fill));
      std::memcpy(context.buffer + context.fill, data, n);
      data += n;
      left -= n;
      context.fill += static_cast<std::int32_t>(n);
      if (context.fill == kReadBlockSize || context.fill == context.remaining) deliver_block(context);
    }
    if (is_stopped(context.handle)) return 0;
    context.received += static_cast<std::int64_t>(total);
    return total;
  } catch (...) {
    log_exception("Read");
    return 0;  // the host's sink threw
  }
}

}  // namespace ftp_plugin
