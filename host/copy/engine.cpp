#include "host/copy/engine.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "host/copy/workers.h"
#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

/// The bytes of all copies, as far as their sizes are known.
std::int64_t bytes_of(const std::vector<Step>& copies) {
  std::int64_t bytes = 0;
  for (const Step& step : copies) bytes += std::max<std::int64_t>(step.source.size, 0);
  return bytes;
}

}  // namespace

CopyEngine::CopyEngine(Session& session, Messages& messages, Progress& progress, LocalTree& local,
                       Tree& remote, const CopyRules& rules, unsigned parallel)
    : session_{session},
      messages_{messages},
      progress_{progress},
      source_{rules.upload ? static_cast<Tree&>(local) : remote},
      target_{rules.upload ? remote : static_cast<Tree&>(local)},
      rules_{rules},
      parallel_{parallel} {
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    executors_[kind] = make_executor(static_cast<Step::Kind>(kind),
                                     CopyContext{session_, local, target_, progress_, rules_});
  }
}

template <class Action>
bool CopyEngine::guarded(Action&& action) {
  const std::optional<Failure> failure = failure_of(std::forward<Action>(action));
  if (failure) fail(*failure);
  return !failure;
}

void CopyEngine::fail(const Failure& failure) {
  messages_.complain(failure.what());
  const std::lock_guard lock{mutex_};
  ++report_.failed;
  if (report_.code == ExitCode::ok) report_.code = failure.code();
}

void CopyEngine::note(std::string what, const std::string& path, bool directory) {
  messages_.detail(what + " " + path + (directory ? "/" : ""));
  const std::lock_guard lock{mutex_};
  report_.actions.push_back({std::move(what), path, directory});
}

CopyReport CopyEngine::run(const Entry& top, std::optional<Listing> listing, bool target_exists, bool dry) {
  const auto begin = std::chrono::steady_clock::now();
  Plan plan = make_plan({source_, top, std::move(listing), target_, target_exists}, rules_);
  for (const Failure& problem : plan.problems) fail(problem);
  for (const std::string& what : plan.left_out) messages_.notice(what);
  settle_doubts(plan);
  report_.unchanged = plan.unchanged;
  if (dry) {
    report_plan(plan);
  } else {
    carry_out(plan);
  }
  report_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return std::move(report_);
}

void CopyEngine::settle_doubts(Plan& plan) {
  std::vector<char> same(plan.copies.size(), 0);
  run_parallel(parallel_, plan.copies.size(), [&](std::size_t index) {
    const Step& step = plan.copies[index];
    if (!step.there) return;
    const Entry& local = rules_.upload ? step.source : *step.there;
    const Entry& listed = rules_.upload ? *step.there : step.source;
    // When the question fails, the file counts as different. Copying it then says what is wrong.
    (void)failure_of([&] {
      const Verdict verdict = compare(local, exact_file(session_, listed), true, rules_.compare);
      if (verdict == Verdict::same) same[index] = 1;
    });
  });
  std::vector<Step> kept;
  for (std::size_t index = 0; index < plan.copies.size(); ++index) {
    if (same[index] != 0) {
      ++plan.unchanged;
    } else {
      kept.push_back(std::move(plan.copies[index]));
    }
  }
  plan.copies = std::move(kept);
}

void CopyEngine::report_plan(const Plan& plan) {
  const auto note_all = [&](const char* what, const std::vector<Step>& steps) {
    for (const Step& step : steps) note(what, step.path, step.directory);
    return steps.size();
  };
  const bool removes = plan.problems.empty();
  if (removes) report_.removed += note_all("remove", plan.clearings);
  report_.made = note_all("make", plan.makings);
  report_.copied = note_all("copy", plan.copies);
  report_.bytes = bytes_of(plan.copies);
  if (removes) report_.removed += note_all("remove", plan.extras);
}

void CopyEngine::carry_out(Plan& plan) {
  using Temporaries = CopyRules::Temporaries;
  if (rules_.temporaries == Temporaries::go_first) remove_temporaries(plan);
  // Without a removal, what it was to make room for fails and says so.
  if (report_.failed == 0) remove(plan.clearings, plan);
  make_directories(plan);
  copy(plan);
  if (report_.failed > 0) {
    if (!plan.extras.empty()) messages_.notice("nothing is removed after a failure");
    return;
  }
  if (rules_.temporaries == Temporaries::go_last) remove_temporaries(plan);
  remove(plan.extras, plan);
}

void CopyEngine::remove_temporaries(Plan& plan) {
  for (const Step& step : plan.temporaries) {
    messages_.detail("what an interrupted run left: " + step.path);
    StepResult done;
    (void)guarded([&] { executor_of(step).run(step, plan, done); });
  }
}

void CopyEngine::remove(const std::vector<Step>& steps, Plan& plan) {
  for (const Step& step : steps) {
    StepResult done;
    (void)guarded([&] { executor_of(step).run(step, plan, done); });
    for (const Removal& one : done.removed) note("remove", one.path, one.directory);
    report_.removed += done.removed.size();
  }
}

void CopyEngine::make_directories(Plan& plan) {
  for (const Step& step : plan.makings) {
    const std::size_t parent = plan.directories[step.made].parent;
    if (!plan.directories[parent].target) continue;  // its failure is told already
    StepResult done;
    if (guarded([&] { executor_of(step).run(step, plan, done); })) {
      note("make", step.path, true);
      ++report_.made;
    }
  }
}

void CopyEngine::copy(Plan& plan) {
  progress_.begin(bytes_of(plan.copies), plan.copies.size());
  run_parallel(parallel_, plan.copies.size(),
               [&](std::size_t index) { (void)guarded([&] { copy_one(plan.copies[index], plan); }); });
  progress_.end();
}

void CopyEngine::copy_one(const Step& step, Plan& plan) {
  if (!plan.directories[step.parent].target) return;  // it could not be made, and that is told already
  StepResult done;
  executor_of(step).run(step, plan, done);
  messages_.detail(rules_.tells_bytes ? fmt::format("{}: {} bytes", done.stored, done.bytes)
                                      : "copy " + step.path);
  const std::lock_guard lock{mutex_};
  report_.actions.push_back({"copy", step.path, false});
  ++report_.copied;
  report_.bytes += done.bytes;
  report_.resumed += done.resumed;
}

}  // namespace ftp_host
