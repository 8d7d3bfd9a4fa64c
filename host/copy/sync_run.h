// Carries a plan out: several files at a time, with progress, a report and a summary.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "host/copy/progress.h"
#include "host/copy/sync_plan.h"
#include "host/messages.h"

namespace ftp_host {

struct SyncAction {
  std::string what;  ///< "copy", "make" or "remove"
  std::string path;
  bool directory = false;
};

struct SyncReport {
  std::vector<SyncAction> actions;
  std::size_t copied = 0, unchanged = 0, made = 0, removed = 0, failed = 0;
  std::int64_t bytes = 0;
  double seconds = 0;
  ExitCode code = ExitCode::ok;  ///< of the first failure
};

class SyncRun {
 public:
  SyncRun(Session& session, Messages& messages, Progress& progress, LocalTree& local, RemoteTree& remote,
          const SyncOptions& options, unsigned parallel);

  /// `dry`: finds out and reports what would be done, and changes nothing.
  [[nodiscard]] SyncReport run(bool target_exists, bool dry);

 private:
  void settle_doubts(Plan& plan);
  void report_plan(const Plan& plan);
  void carry_out(Plan& plan);
  void remove(const std::vector<PlannedRemoval>& removals);
  void remove_temporaries(const Plan& plan);
  void make_directories(Plan& plan);
  void copy(const Plan& plan, const PlannedFile& file);
  void note(std::string what, const std::string& path, bool directory);
  void fail(const Failure& failure);
  template <class Step>
  bool guarded(Step&& step);

  Session& session_;
  Messages& messages_;
  Progress& progress_;
  LocalTree& local_;
  Tree& source_;
  Tree& target_;
  const SyncOptions& options_;
  unsigned parallel_;
  std::mutex mutex_;
  SyncReport report_;
};

/// Calls `step` with 0 to `count` - 1 on `threads` threads. The first exception ends it and is thrown on.
void run_parallel(unsigned threads, std::size_t count, const std::function<void(std::size_t)>& step);

}  // namespace ftp_host
