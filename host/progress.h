// How far a long job is: the rate over the last seconds, the time left, and the line on the terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/console.h"

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

/// "0 B", "999 B", "1.0 KiB", "12.3 MiB": three digits and a unit.
[[nodiscard]] std::string byte_text(double bytes);
/// "0:05", "12:34", "1:02:03"; "--:--" below zero or beyond four days.
[[nodiscard]] std::string duration_text(double seconds);

struct ProgressState {
  std::string name;         ///< the file under way, already fit for a terminal
  std::int64_t done = 0;    ///< bytes
  std::int64_t total = -1;  ///< bytes; below zero when unknown
  double rate = 0;          ///< bytes per second
  std::size_t files_done = 0;
  std::size_t files_total = 0;  ///< 0: files are not counted
};

/// One line of at most `width` columns: "name  42%  1.2 MiB of 2.9 MiB  300 KiB/s  0:05 left". The name gives
/// way.
[[nodiscard]] std::string progress_text(const ProgressState& state, std::size_t width);

/// Shows the progress of one job on a terminal, from a thread of its own, once the job has run for a second.
/// Elsewhere it does nothing. All functions are safe from any thread.
class Progress {
 public:
  explicit Progress(Console& console);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void set_total(std::int64_t bytes) { total_.store(bytes); }
  void set_files(std::size_t total) { files_total_.store(total); }
  void moved(std::int64_t bytes) { done_.fetch_add(bytes); }
  void file_done() { files_done_.fetch_add(1); }

  /// One file under way, for as long as it lives; its share shows beside its name.
  class File {
   public:
    File(Progress& progress, std::string_view name, std::int64_t size);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    void moved(std::int64_t bytes);
    /// Bytes that an earlier run moved: part of the file, not of the rate.
    void skipped(std::int64_t bytes);

   private:
    friend class Progress;
    Progress& progress_;
    std::string name_;
    std::int64_t size_;
    std::atomic<std::int64_t> done_{0};
  };

 private:
  void show();
  [[nodiscard]] std::string current_name();

  Console& console_;
  std::atomic<std::int64_t> done_{0};
  std::atomic<std::int64_t> skipped_{0};
  std::atomic<std::int64_t> total_{-1};
  std::atomic<std::size_t> files_done_{0};
  std::atomic<std::size_t> files_total_{0};
  std::mutex mutex_;
  std::vector<File*> files_;
  std::atomic<bool> stop_{false};
  std::thread shower_;
};

}  // namespace ftp_host
