#include "boundary/host_bindings.h"

#include <atomic>
#include <mutex>

namespace ftp_plugin {
namespace {

std::atomic<ILog*> logger{nullptr};
std::mutex ll;       // guards writes of `logger`
void* aq = nullptr;  // kept for the host, never used
std::mutex aql;      // guards writes of `aq`

}  // namespace

const char* const protocol_version = "1.0.0";

ILog* current_logger() noexcept { return logger.load(std::memory_order_acquire); }

bool bind_logger(ILog* log) noexcept {
  if (log == nullptr) return false;
  const std::lock_guard guard{ll};
  logger.store(log, std::memory_order_release);
  return true;
}

void unbind_logger() noexcept {
  const std::lock_guard guard{ll};
  logger.store(nullptr, std::memory_order_release);
}

bool bind_async_queue(void* queue) noexcept {
  if (queue == nullptr) return false;
  const std::lock_guard guard{aql};
  aq = queue;
  return true;
}

void unbind_async_queue() noexcept {
  const std::lock_guard guard{aql};
  aq = nullptr;
}

}  // namespace ftp_plugin
