// Runs calls into the plug-in under a time limit and under Ctrl-C.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

#include "boundary/abi/error_codes.h"
#include "host/cancellation.h"
#include "host/messages.h"
#include "host/remote/operation_log.h"

namespace ftp_host {

/// Counts signs of life of one operation: bytes that moved, entries that came.
class LifeSign {
 public:
  void beat() noexcept { beats_.fetch_add(1, std::memory_order_relaxed); }
  [[nodiscard]] std::uint64_t beats() const noexcept { return beats_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> beats_{0};
};

/// How an operation ended.
struct [[nodiscard]] Outcome {
  AERROR code = FAILED;
  OperationLog log;
};

class Operations {
 public:
  /// `limit`: how long an operation may go without a sign of life; zero for ever.
  Operations(Cancellation& cancellation, Messages& messages, std::chrono::seconds limit)
      : cancellation_{cancellation}, messages_{messages}, limit_{limit} {}

  /// Runs `call` on a thread of its own and waits for it. A call that outlives the limit, or does not end
  /// soon after Ctrl-C, cannot be stopped: its thread may hang inside the plug-in for ever. The process then
  /// ends here with the exit code for it, so everything that `call` uses lives as long as `call` does. Throws
  /// a Failure (cancelled) when Ctrl-C came, whatever `call` returned.
  Outcome run(const std::string& what, LifeSign& life, const std::function<AERROR()>& call);

  /// Waits while the clock shows `second`, and returns whether it had to. A change behind this call gets a
  /// later time than `second`. Throws a Failure (cancelled) after Ctrl-C.
  [[nodiscard]] bool wait_beyond(std::time_t second) const;

  [[nodiscard]] Cancellation& cancellation() const noexcept { return cancellation_; }
  [[nodiscard]] Messages& messages() const noexcept { return messages_; }

 private:
  Cancellation& cancellation_;
  Messages& messages_;
  std::chrono::seconds limit_;
};

}  // namespace ftp_host
