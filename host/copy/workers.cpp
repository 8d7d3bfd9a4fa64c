#include "host/copy/workers.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace ftp_host {

void run_parallel(unsigned threads, std::size_t count, const std::function<void(std::size_t)>& step) {
  std::atomic<std::size_t> next{0};
  std::mutex mutex;
  std::exception_ptr thrown;
  const auto work = [&] {
    for (std::size_t index = next++; index < count; index = next++) {
      try {
        step(index);
      } catch (...) {
        const std::lock_guard lock{mutex};
        if (!thrown) thrown = std::current_exception();
        next = count;
      }
    }
  };
  {
    std::vector<std::jthread> workers;
    for (std::size_t i = 1; i < std::min<std::size_t>(threads, count); ++i) workers.emplace_back(work);
    work();
  }
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace ftp_host
