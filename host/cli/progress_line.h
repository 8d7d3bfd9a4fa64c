// The line on the terminal that shows a long job: how far it is, how fast, and how long it will take.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>

#include "host/cli/console.h"
#include "host/copy/progress.h"

namespace ftp_host {

/// Bytes per second over a sliding window of five seconds. Not safe from several threads.
class Rate {
 public:
  using Clock = std::chrono::steady_clock;
  /// `total`: all bytes moved up to `now`.
  void add(Clock::time_point now, std::int64_t total);
  [[nodiscard]] double per_second() const;

 private:
  struct Sample {
    Clock::time_point when;
    std::int64_t total;
  };
  std::deque<Sample> samples_;
};

/// One line of at most `width` columns: "name  42%  1.2 MiB of 2.9 MiB  300 KiB/s  0:05 left". Where there is
/// too little room, the names are cut, not the numbers. `rate` in bytes per second.
[[nodiscard]] std::string progress_text(const Progress::Snapshot& now, double rate, std::size_t width);

/// Shows a job on a terminal, by a thread of its own, from its second second to its end. Where standard error
/// is no terminal, it does nothing.
class ProgressLine {
 public:
  ProgressLine(Console& console, const Progress& progress);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  void show(const std::stop_token& stop);

  Console& console_;
  const Progress& progress_;
  std::jthread shower_;
};

}  // namespace ftp_host
