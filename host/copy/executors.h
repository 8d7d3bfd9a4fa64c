// Carries out the steps of a plan: one executor for each kind of step.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/copy/plan.h"
#include "host/copy/progress.h"
#include "host/local/local_tree.h"
#include "host/remote/session.h"
#include "host/tree/removal.h"

namespace ftp_host {

/// What a step did.
struct StepResult {
  std::int64_t bytes = 0;    ///< transferred now
  std::int64_t resumed = 0;  ///< taken over from an earlier run
  std::string stored;        ///< copies: where the file is, for messages
  Removals removed;          ///< removals: what is gone
};

class Executor {
 public:
  Executor() = default;
  virtual ~Executor() = default;
  Executor(const Executor&) = delete;
  Executor& operator=(const Executor&) = delete;
  /// Does `step`, which is one of `plan`. Copies may run on several threads at once; only make_directory
  /// changes the plan. Throws a Failure; `done` then tells how much was done before it.
  virtual void run(const Step& step, Plan& plan, StepResult& done) = 0;
};

/// The two ends of a copy, as its executors need them. Everything outlives the executors.
struct CopyContext {
  Session& session;
  LocalTree& local;
  Tree& target;
  Progress& progress;
  const CopyRules& rules;
};

[[nodiscard]] std::unique_ptr<Executor> make_executor(Step::Kind kind, const CopyContext& context);

}  // namespace ftp_host
