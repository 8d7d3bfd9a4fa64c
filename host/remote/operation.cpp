#include "host/remote/operation.h"

#include <fmt/format.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace ftp_host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{100};
/// A transfer notices its stop with the next block. What has no handle ends by itself in this time, or never.
constexpr std::chrono::seconds kGrace{3};

}  // namespace

Outcome Operations::run(const std::string& what, LifeSign& life, const std::function<AERROR()>& call) {
  cancellation_.check();
  std::mutex mutex;
  std::condition_variable ended;
  bool done = false;
  Outcome outcome;
  std::thread worker{[&] {
    current_operation_log() = OperationLog{};
    const AERROR code = call();
    const std::lock_guard lock{mutex};
    outcome = Outcome{code, std::move(current_operation_log())};
    done = true;
    ended.notify_one();
  }};
  {
    std::unique_lock lock{mutex};
    std::uint64_t beats = life.beats();
    Clock::time_point last_sign = Clock::now();
    Clock::time_point leave_at = Clock::time_point::max();
    while (!ended.wait_for(lock, kLook, [&] { return done; })) {
      const Clock::time_point now = Clock::now();
      if (life.beats() != beats) {
        beats = life.beats();
        last_sign = now;
      }
      if (cancellation_.requested()) {
        if (leave_at == Clock::time_point::max()) leave_at = now + kGrace;
        if (now >= leave_at) messages_.leave(ExitCode::cancelled, "cancelled");
      } else if (limit_.count() > 0 && now - last_sign >= limit_) {
        messages_.leave(ExitCode::timed_out,
                        fmt::format("{}: nothing happened for {} s (--timeout)", what, limit_.count()));
      }
    }
  }
  worker.join();
  cancellation_.check();
  return outcome;
}

bool Operations::wait_beyond(std::time_t second) const {
  bool waited = false;
  for (; second == std::time(nullptr); waited = true) {
    cancellation_.check();
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
  }
  return waited;
}

}  // namespace ftp_host
