#include "host/sync_plan.h"

#include <algorithm>
#include <map>

#include "host/link_loops.h"
#include "host/names.h"

namespace ftp_host {
namespace {

using ByName = std::map<std::string, Entry>;

class Planner {
 public:
  Planner(Tree& source, Tree& target, const SyncOptions& options)
      : source_{source}, target_{target}, options_{options} {}

  Plan run(bool target_exists) {
    PlannedDirectory top;
    if (target_exists) top.target = target_.top();
    plan_.directories.push_back(top);
    guarded([&] { directory(0, source_.list(source_.top())); });
    return std::move(plan_);
  }

 private:
  /// A failure in one directory leaves the others alone; a cancellation ends it all.
  template <class Step>
  void guarded(Step&& step) {
    try {
      step();
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::cancelled) throw;
      plan_.problems.push_back(failure);
    }
  }

  void directory(std::size_t index, const Listing& listing) {
    const std::string path = plan_.directories[index].path;
    // On this machine links are not followed, so there is nothing to run in circles.
    if (!options_.upload && !walk_.enter(listing)) {
      plan_.left_out.push_back(path + ": a link to a directory above it, or too deep");
      return;
    }
    ByName there = target_entries(index);
    for (const Entry& entry : listing.entries) {
      const std::string below = path_below(path, entry.name);
      const auto found = there.find(entry.name);
      std::optional<Entry> target;
      if (found != there.end()) {
        target = found->second;
        there.erase(found);
      }
      if (is_temporary_name(entry.name) || !options_.filter.takes(below, entry.directory)) continue;
      if (entry.special) {
        plan_.left_out.push_back(below + ": neither a file nor a directory");
        continue;
      }
      guarded([&] { this->entry(index, below, entry, target); });
    }
    if (options_.remove) extras(path, there);
    if (!options_.upload) walk_.leave();
  }

  /// What the target's directory holds. Temporary files are noted for removal and are not part of it.
  ByName target_entries(std::size_t index) {
    ByName there;
    const std::optional<std::string> place = plan_.directories[index].target;
    if (!place) return there;
    for (Entry& entry : target_.list(*place).entries) {
      if (is_temporary_name(entry.name) && !entry.directory) {
        plan_.temporaries.push_back({path_below(plan_.directories[index].path, entry.name), entry.id, false});
      } else {
        there.emplace(entry.name, std::move(entry));
      }
    }
    return there;
  }

  void entry(std::size_t index, const std::string& path, const Entry& source, std::optional<Entry> target) {
    const std::optional<std::string> place = plan_.directories[index].target;
    // Some servers keep names with a leading dot to themselves.
    if (!target && place && source.name.starts_with('.')) {
      target = target_.find_hidden(*place, source.name, source.directory);
    }
    if (target && target->directory && !source.directory) {
      // A server lists links among the directories: it may be one to a file.
      if (const std::optional<Entry> linked = target_.as_file(target->id)) target = linked;
    }
    if (target && (target->directory != source.directory)) {
      if (!options_.remove) {
        throw Failure{ExitCode::other, path + ": the target has " +
                                           (target->directory ? "a directory" : "a file") +
                                           " of this name (--delete replaces it)"};
      }
      plan_.conflicts.push_back({path, target->id, target->directory});
      target.reset();
    }
    if (source.directory) {
      subdirectory(index, path, source, target);
    } else {
      file(index, path, source, target);
    }
  }

  void subdirectory(std::size_t index, const std::string& path, const Entry& source,
                    const std::optional<Entry>& target) {
    Listing listing;
    try {
      listing = source_.list(source.id);
    } catch (const Failure& failure) {
      std::optional<Entry> linked;  // a link to a file is listed as a directory here, too
      if (failure.code() != ExitCode::cancelled) linked = source_.as_file(source.id);
      if (!linked) throw;
      linked->name = source.name;
      file(index, path, *linked, target && !target->directory ? target : std::nullopt);
      return;
    }
    PlannedDirectory made;
    made.path = path;
    made.parent = index;
    made.name = source.name;
    if (target) made.target = target->id;
    plan_.directories.push_back(made);
    directory(plan_.directories.size() - 1, listing);
  }

  void file(std::size_t index, const std::string& path, const Entry& source,
            const std::optional<Entry>& target) {
    PlannedFile planned{path, index, source, std::nullopt};
    if (target && !target->special && !options_.copy_all) {
      const Verdict verdict = options_.upload ? compare(source, *target, false, options_.rules)
                                              : compare(*target, source, false, options_.rules);
      if (verdict == Verdict::same) {
        ++plan_.unchanged;
        return;
      }
      if (verdict == Verdict::ask) planned.target = target;
    }
    plan_.files.push_back(std::move(planned));
  }

  void extras(const std::string& path, const ByName& there) {
    for (const auto& [name, entry] : there) {
      const std::string below = path_below(path, name);
      if (options_.filter.takes(below, entry.directory))
        plan_.extras.push_back({below, entry.id, entry.directory});
    }
  }

  Tree& source_;
  Tree& target_;
  const SyncOptions& options_;
  WalkPath walk_;
  Plan plan_;
};

}  // namespace

Verdict compare(const Entry& local, const Entry& remote, bool exact, const CompareRules& rules) {
  if (remote.size < 0 || local.size < 0) {
    if (!exact) return Verdict::ask;
  } else if (local.size != remote.size) {
    return Verdict::different;
  }
  if (!remote.time || !local.time) return exact ? Verdict::same : Verdict::ask;
  const std::int64_t newer = *remote.time - *local.time;
  if (!rules.equal_times) {
    if (!exact) return Verdict::ask;
    return newer + rules.window > 0 ? Verdict::same : Verdict::different;
  }
  if (newer <= rules.window && newer >= -rules.window) return Verdict::same;
  return exact ? Verdict::different : Verdict::ask;
}

Plan make_plan(Tree& source, Tree& target, bool target_exists, const SyncOptions& options) {
  return Planner{source, target, options}.run(target_exists);
}

}  // namespace ftp_host
