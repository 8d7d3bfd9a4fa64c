// Carries a plan out: several files at a time, with progress, messages and a report. What `get -r`, `put -r`
// and `sync` do differently is in the rules of their plans.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/copy/executors.h"
#include "host/copy/plan.h"
#include "host/messages.h"

namespace ftp_host {

struct CopyAction {
  std::string what;  ///< "copy", "make" or "remove"
  std::string path;
  bool directory = false;
};

struct CopyReport {
  std::vector<CopyAction> actions;
  std::size_t copied = 0, unchanged = 0, made = 0, removed = 0, failed = 0;
  std::int64_t bytes = 0;    ///< transferred now
  std::int64_t resumed = 0;  ///< taken over from an earlier run
  double seconds = 0;
  ExitCode code = ExitCode::ok;  ///< of the first failure
};

class CopyEngine {
 public:
  /// The target is `remote` when the rules say upload, else `local`. `parallel` files at a time.
  CopyEngine(Session& session, Messages& messages, Progress& progress, LocalTree& local, Tree& remote,
             const CopyRules& rules, unsigned parallel);

  /// Copies from `top`, whose listing may be known already. One file that fails does not stop the others; a
  /// cancellation does. `dry`: finds out and reports what would be done, and changes nothing.
  [[nodiscard]] CopyReport run(const Entry& top, std::optional<Listing> listing, bool target_exists,
                               bool dry);

 private:
  static constexpr std::size_t kKinds = 4;

  void settle_doubts(Plan& plan);
  void report_plan(const Plan& plan);
  void carry_out(Plan& plan);
  void remove_temporaries(Plan& plan);
  void remove(const std::vector<Step>& steps, Plan& plan);
  void make_directories(Plan& plan);
  void copy(Plan& plan);
  void copy_one(const Step& step, Plan& plan);
  Executor& executor_of(const Step& step) { return *executors_[static_cast<std::size_t>(step.kind)]; }
  void note(std::string what, const std::string& path, bool directory);
  void fail(const Failure& failure);
  /// Whether `step` came to its end; its failure is told.
  template <class Action>
  bool guarded(Action&& action);

  Session& session_;
  Messages& messages_;
  Progress& progress_;
  Tree& source_;
  Tree& target_;
  const CopyRules& rules_;
  unsigned parallel_;
  std::array<std::unique_ptr<Executor>, kKinds> executors_;
  std::mutex mutex_;
  CopyReport report_;
};

}  // namespace ftp_host
