#include "host/copy/sync_run.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <thread>

#include "host/copy/download.h"
#include "host/copy/upload.h"
#include "host/remote/look_up.h"

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
  std::vector<std::thread> workers;
  for (std::size_t i = 1; i < std::min<std::size_t>(threads, count); ++i) workers.emplace_back(work);
  work();
  for (std::thread& worker : workers) worker.join();
  if (thrown) std::rethrow_exception(thrown);
}

SyncRun::SyncRun(Session& session, Messages& messages, Progress& progress, LocalTree& local,
                 RemoteTree& remote, const SyncOptions& options, unsigned parallel)
    : session_{session},
      messages_{messages},
      progress_{progress},
      local_{local},
      source_{options.upload ? static_cast<Tree&>(local) : remote},
      target_{options.upload ? static_cast<Tree&>(remote) : local},
      options_{options},
      parallel_{parallel} {}

template <class Step>
bool SyncRun::guarded(Step&& step) {
  try {
    step();
    return true;
  } catch (const Failure& failure) {
    if (failure.code() == ExitCode::cancelled) throw;
    fail(failure);
    return false;
  }
}

void SyncRun::fail(const Failure& failure) {
  messages_.complain(failure.what());
  const std::lock_guard lock{mutex_};
  ++report_.failed;
  if (report_.code == ExitCode::ok) report_.code = failure.code();
}

void SyncRun::note(std::string what, const std::string& path, bool directory) {
  messages_.detail(what + " " + path + (directory ? "/" : ""));
  const std::lock_guard lock{mutex_};
  report_.actions.push_back({std::move(what), path, directory});
}

SyncReport SyncRun::run(bool target_exists, bool dry) {
  const auto begin = std::chrono::steady_clock::now();
  Plan plan = make_plan(source_, target_, target_exists, options_);
  for (const Failure& problem : plan.problems) fail(problem);
  for (const std::string& what : plan.left_out) messages_.notice(what + ": left out");
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

void SyncRun::settle_doubts(Plan& plan) {
  std::vector<char> same(plan.files.size(), 0);
  run_parallel(parallel_, plan.files.size(), [&](std::size_t index) {
    const PlannedFile& file = plan.files[index];
    if (!file.target) return;
    const Entry& local = options_.upload ? file.source : *file.target;
    const Entry& listed = options_.upload ? *file.target : file.source;
    // A file that cannot be asked for is copied, and that tells what is wrong with it.
    try {
      const Verdict verdict = compare(local, exact_file(session_, listed), true, options_.rules);
      if (verdict == Verdict::same) same[index] = 1;
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::cancelled) throw;
    }
  });
  std::vector<PlannedFile> kept;
  for (std::size_t index = 0; index < plan.files.size(); ++index) {
    if (same[index] != 0) {
      ++plan.unchanged;
    } else {
      kept.push_back(std::move(plan.files[index]));
    }
  }
  plan.files = std::move(kept);
}

void SyncRun::report_plan(const Plan& plan) {
  if (plan.problems.empty()) {
    for (const PlannedRemoval& removal : plan.conflicts) note("remove", removal.path, removal.directory);
  }
  for (const PlannedDirectory& directory : plan.directories) {
    if (!directory.target && !directory.path.empty()) note("make", directory.path, true);
  }
  for (const PlannedFile& file : plan.files) {
    note("copy", file.path, false);
    report_.bytes += std::max<std::int64_t>(file.source.size, 0);
  }
  if (plan.problems.empty()) {
    for (const PlannedRemoval& removal : plan.extras) note("remove", removal.path, removal.directory);
  }
  report_.copied = plan.files.size();
  for (const SyncAction& action : report_.actions) {
    if (action.what == "make") ++report_.made;
    if (action.what == "remove") ++report_.removed;
  }
}

void SyncRun::carry_out(Plan& plan) {
  // A partial upload is of no use. A partial download is continued, so it goes only when all is done.
  if (options_.upload) remove_temporaries(plan);
  // Without them what they are in the way of fails, and says so.
  if (report_.failed == 0) remove(plan.conflicts);
  make_directories(plan);
  std::int64_t total = 0;
  for (const PlannedFile& file : plan.files) total += std::max<std::int64_t>(file.source.size, 0);
  progress_.begin(total, plan.files.size());
  run_parallel(parallel_, plan.files.size(),
               [&](std::size_t index) { guarded([&] { copy(plan, plan.files[index]); }); });
  progress_.end();
  if (report_.failed > 0) {
    if (!plan.extras.empty()) messages_.notice("nothing is removed after a failure");
    return;
  }
  if (!options_.upload) remove_temporaries(plan);
  remove(plan.extras);
}

void SyncRun::remove_temporaries(const Plan& plan) {
  for (const PlannedRemoval& removal : plan.temporaries) {
    messages_.detail("what an interrupted run left: " + removal.path);
    guarded([&] { target_.remove_temporary(removal.place); });
  }
}

void SyncRun::remove(const std::vector<PlannedRemoval>& removals) {
  for (const PlannedRemoval& removal : removals) {
    Removals gone;
    (void)guarded([&] {
      if (removal.directory) {
        remove_tree(target_, removal.place, removal.path, options_.filter, gone);
      } else {
        target_.remove_file(removal.place);
        gone.push_back({removal.path, false});
      }
    });
    for (const Removal& one : gone) note("remove", one.path, one.directory);
    report_.removed += gone.size();
  }
}

void SyncRun::make_directories(Plan& plan) {
  for (PlannedDirectory& directory : plan.directories) {
    if (directory.target || directory.path.empty()) continue;
    const std::optional<std::string>& parent = plan.directories[directory.parent].target;
    if (!parent) continue;  // its failure is reported already
    if (guarded([&] { directory.target = target_.make_directory(*parent, directory.name); })) {
      note("make", directory.path, true);
      ++report_.made;
    }
  }
}

void SyncRun::copy(const Plan& plan, const PlannedFile& file) {
  const std::optional<std::string>& place = plan.directories[file.directory].target;
  if (!place) return;
  std::int64_t bytes = 0;
  if (options_.upload) {
    const LocalDirectory from = local_.open(plan.directories[file.directory].path);
    bytes = upload_file(session_, progress_, from, file.source.name, *place, file.source.name);
  } else {
    const Entry exact = settled_file(session_, file.source);
    bytes = download_file(session_, progress_, exact, local_.open(*place), exact.name, true).bytes;
  }
  note("copy", file.path, false);
  const std::lock_guard lock{mutex_};
  ++report_.copied;
  report_.bytes += bytes;
}

}  // namespace ftp_host
