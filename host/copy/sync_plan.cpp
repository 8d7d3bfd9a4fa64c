#include "host/copy/sync_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/names.h"
#include "host/remote/link_loops.h"

namespace ftp_host {
namespace {

using ByName = std::map<std::string, Entry>;

/// Names that a server is asked for before an empty listing of its counts: each costs a request.
constexpr int kProofs = 20;

class Planner {
 public:
  Planner(Tree& source, Tree& target, const SyncOptions& options)
      : source_{source}, target_{target}, options_{options} {}

  Plan run(bool target_exists) {
    PlannedDirectory top;
    if (target_exists) top.target = target_.top();
    plan_.directories.push_back(top);
    guarded([&] { directory(0, source_.top(), source_.list(source_.top())); });
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

  void directory(std::size_t index, const std::string& from, const Listing& listing) {
    const std::string path = plan_.directories[index].path;
    std::optional<WalkGuard> inside;
    // On this machine links are not followed, so there is nothing to run in circles.
    if (!options_.upload) {
      if (!walk_.enter(listing, from)) {
        plan_.left_out.push_back(path + ": a link to a directory above it, or too deep");
        return;
      }
      inside.emplace(walk_);
    }
    if (listing.hostile > 0) {
      plan_.left_out.push_back(fmt::format("{}: {} unusable names from the server",
                                           path.empty() ? source_.top() : path, listing.hostile));
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
    if (options_.remove) extras(path, from, listing.entries.empty(), there);
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

  void entry(std::size_t index, const std::string& path, Entry source, std::optional<Entry> target) {
    // Read it before anything in its way counts as of another kind.
    const std::optional<Listing> listing = listing_or_file(source);
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
      if (!options_.filter.takes(path, target->directory))
        throw Failure{ExitCode::other, path + ": what the target has of this name is excluded"};
      plan_.conflicts.push_back({path, target->id, target->directory});
      target.reset();
    }
    if (listing) {
      subdirectory(index, path, source, *listing, target);
    } else {
      file(index, path, source, target);
    }
  }

  /// What is in the directory `source`; none when it is a file. A link to a file is listed as a directory:
  /// `source` becomes that file.
  std::optional<Listing> listing_or_file(Entry& source) {
    if (!source.directory) return std::nullopt;
    try {
      return source_.list(source.id);
    } catch (const Failure& failure) {
      std::optional<Entry> linked;
      if (failure.code() != ExitCode::cancelled) linked = source_.as_file(source.id);
      if (!linked) throw;
      linked->name = source.name;
      source = *linked;
      return std::nullopt;
    }
  }

  void subdirectory(std::size_t index, const std::string& path, const Entry& source, const Listing& listing,
                    const std::optional<Entry>& target) {
    PlannedDirectory made;
    made.path = path;
    made.parent = index;
    made.name = source.name;
    if (target) made.target = target->id;
    plan_.directories.push_back(made);
    directory(plan_.directories.size() - 1, source.id, listing);
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
      // A server's listing may tell the size of a link instead of that of the file.
      if (verdict == Verdict::ask || !options_.upload) planned.target = target;
    }
    plan_.files.push_back(std::move(planned));
  }

  /// What the source does not have. `empty`: its directory `from` was listed so. A server may keep names with
  /// a leading dot to itself, and may list a directory that it cannot read as an empty one.
  void extras(const std::string& path, const std::string& from, bool empty, const ByName& there) {
    std::vector<PlannedRemoval> found;
    int proofs = 0;
    for (const auto& [name, entry] : there) {
      const std::string below = path_below(path, name);
      if (!options_.filter.takes(below, entry.directory)) continue;
      // A listing holds one name a line: a source that has this one could not tell.
      if (name.find_first_of("\r\n") != std::string::npos) continue;
      const bool hidden = name.starts_with('.');
      const bool doubtful = hidden || (empty && proofs++ < kProofs);
      if (doubtful && source_.find_hidden(from, name, entry.directory)) {
        if (hidden) continue;
        throw Failure{ExitCode::other, (path.empty() ? from : path) + ": listed as empty, and yet it holds " +
                                           name + ": nothing is removed"};
      }
      found.push_back({below, entry.id, entry.directory});
    }
    plan_.extras.insert(plan_.extras.end(), found.begin(), found.end());
  }

  Tree& source_;
  Tree& target_;
  const SyncOptions& options_;
  WalkPath walk_{[this](const std::string& place) -> std::optional<Listing> {
    try {
      return source_.list(place);
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::cancelled) throw;
      return std::nullopt;
    }
  }};
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
