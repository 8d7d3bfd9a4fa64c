#include "host/copy/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "host/local/temporary_name.h"
#include "host/tree/walk.h"

namespace ftp_host {
namespace {

using ByName = std::map<std::string, Entry>;

/// Names that a server is asked for before an empty listing of its counts: each costs a request.
constexpr int kProofs = 20;

/// Walks through the source and looks beside each directory at the one in the target.
class Planner final : public Visitor {
 public:
  Planner(const CopyEnds& ends, const CopyRules& rules) : ends_{ends}, rules_{rules} {}

  Plan run() {
    // On this machine links are not followed, so none can lead back up.
    walk(ends_.source, rules_.upload ? Links::not_followed : Links::followed, ends_.top, ends_.listing,
         *this);
    return std::move(plan_);
  }

  bool wants(const std::string& path, const Entry& entry) override {
    Level& level = levels_.back();
    met_.reset();
    if (const auto found = level.there.find(entry.name); found != level.there.end()) {
      met_ = std::move(found->second);
      level.there.erase(found);
    }
    if (is_temporary_name(entry.name) || !rules_.filter.takes(path, entry.directory)) return false;
    if (!entry.special) return true;
    plan_.left_out.push_back(path + ": neither a file nor a directory: left out");
    return false;
  }

  bool enter(const std::string& path, const Entry& directory, const Listing& listing) override {
    PlannedDirectory planned;
    planned.path = path;
    if (levels_.empty()) {
      if (ends_.target_exists) planned.target = ends_.target.top();
    } else {
      planned.parent = levels_.back().index;
      planned.name = directory.name;
      if (const auto target = target_of(path, directory)) planned.target = target->id;
    }
    const std::size_t index = plan_.directories.size();
    if (!path.empty() && !planned.target) {
      Step step;
      step.kind = Step::Kind::make_directory;
      step.path = path;
      step.directory = true;
      step.made = index;
      plan_.makings.push_back(std::move(step));
    }
    plan_.directories.push_back(planned);
    if (listing.hostile > 0) {
      plan_.left_out.push_back(fmt::format("{}: {} unusable names from the server left out",
                                           path.empty() ? directory.id : path, listing.hostile));
    }
    levels_.push_back({index, listing.entries.empty(), target_entries(planned)});
    return true;
  }

  void leave(const std::string& path, const Entry& directory) override {
    const Level level = std::move(levels_.back());
    levels_.pop_back();
    if (rules_.remove) extras(path, directory.id, level);
  }

  void file(const std::string& path, const Entry& entry) override {
    const std::optional<Entry> target = target_of(path, entry);
    Step step;
    step.path = path;
    step.parent = levels_.back().index;
    step.source = entry;
    if (target && rules_.copy_all) {
      step.reason = Step::Reason::everything;
    } else if (target && target->special) {
      step.reason = Step::Reason::different;
    } else if (target) {
      const Verdict verdict = rules_.upload ? compare(entry, *target, false, rules_.compare)
                                            : compare(*target, entry, false, rules_.compare);
      if (verdict == Verdict::same) {
        ++plan_.unchanged;
        return;
      }
      // A server's listing may tell the size of a link instead of that of the file.
      const bool certain = verdict == Verdict::different && rules_.upload;
      step.reason = certain ? Step::Reason::different : Step::Reason::perhaps;
      if (!certain) step.there = target;
    }
    plan_.copies.push_back(std::move(step));
  }

  void leads_back(const std::string& path, const Entry&) override {
    plan_.left_out.push_back(path + ": a link to a directory above it, or too deep: left out");
  }

  void failed(const Failure& failure) override { plan_.problems.push_back(failure); }

 private:
  /// A directory that the walk is in.
  struct Level {
    std::size_t index;  ///< in Plan::directories
    bool empty;         ///< the source lists nothing in it
    ByName there;       ///< what the target has, and the source has not listed so far
  };

  /// What the target's directory holds. Temporary files are noted for removal and are not part of it.
  ByName target_entries(const PlannedDirectory& directory) {
    ByName there;
    if (!directory.target) return there;
    for (Entry& entry : ends_.target.list(*directory.target).entries) {
      if (is_temporary_name(entry.name) && !entry.directory) {
        const std::string path = path_below(directory.path, entry.name);
        plan_.temporaries.push_back(
            removal(Step::Kind::remove_temporary, Step::Reason::of_another_run, path, entry));
      } else {
        there.emplace(entry.name, std::move(entry));
      }
    }
    return there;
  }

  static Step removal(Step::Kind kind, Step::Reason reason, const std::string& path, const Entry& entry) {
    Step step;
    step.kind = kind;
    step.reason = reason;
    step.path = path;
    step.directory = entry.directory;
    step.place = entry.id;
    return step;
  }

  /// What the target has under the name of `source`, of the same kind; none when it has to be made.
  std::optional<Entry> target_of(const std::string& path, const Entry& source) {
    std::optional<Entry> target = std::exchange(met_, std::nullopt);
    const std::optional<std::string>& place = plan_.directories[levels_.back().index].target;
    // Some servers keep names with a leading dot to themselves.
    if (!target && place && source.name.starts_with('.')) {
      target = ends_.target.find_hidden(*place, source.name, source.directory);
    }
    if (target && target->directory && !source.directory) {
      // A server lists links among the directories: it may be one to a file.
      if (const std::optional<Entry> linked = ends_.target.as_file(target->id)) target = linked;
    }
    if (!target || target->directory == source.directory) return target;
    switch (rules_.in_the_way) {
      case CopyRules::InTheWay::refuse:
        throw Failure{ExitCode::other,
                      fmt::format("{}: the target has a {} of this name (--delete replaces it)", path,
                                  target->directory ? "directory" : "file")};
      case CopyRules::InTheWay::replace:
        if (!rules_.filter.takes(path, target->directory))
          throw Failure{ExitCode::other, path + ": what the target has of this name is excluded"};
        plan_.clearings.push_back(removal(Step::Kind::remove, Step::Reason::in_the_way, path, *target));
        break;
      case CopyRules::InTheWay::attempt:
        break;
    }
    return std::nullopt;
  }

  /// What the source does not have. A server may keep names with a leading dot to itself, and may list a
  /// directory that it cannot read as an empty one.
  void extras(const std::string& path, const std::string& from, const Level& level) {
    std::vector<Step> found;
    int proofs = 0;
    for (const auto& [name, entry] : level.there) {
      const std::string below = path_below(path, name);
      if (!rules_.filter.takes(below, entry.directory)) continue;
      // A listing holds one name a line: a source that has this one could not tell.
      if (name.find_first_of("\r\n") != std::string::npos) continue;
      const bool hidden = name.starts_with('.');
      const bool doubtful = hidden || (level.empty && proofs++ < kProofs);
      if (doubtful && ends_.source.find_hidden(from, name, entry.directory)) {
        if (hidden) continue;
        throw Failure{ExitCode::other,
                      fmt::format("{}: listed as empty, and yet it holds {}: nothing is removed",
                                  path.empty() ? from : path, name)};
      }
      found.push_back(removal(Step::Kind::remove, Step::Reason::not_in_source, below, entry));
    }
    std::move(found.begin(), found.end(), std::back_inserter(plan_.extras));
  }

  const CopyEnds& ends_;
  const CopyRules& rules_;
  std::vector<Level> levels_;
  std::optional<Entry> met_;  ///< what the target lists under the name that the walk is at
  Plan plan_;
};

}  // namespace

CopyRules get_rules(bool resume) {
  CopyRules rules;
  rules.upload = false;
  rules.copy_all = !resume;
  rules.resume = resume;
  rules.in_the_way = CopyRules::InTheWay::attempt;
  rules.temporaries = resume ? CopyRules::Temporaries::stay : CopyRules::Temporaries::go_first;
  rules.tells_bytes = true;
  rules.compare.unknown_is_equal = false;
  return rules;
}

CopyRules put_rules() {
  CopyRules rules;
  rules.copy_all = true;
  return rules;
}

CopyRules sync_rules(bool upload, bool remove, bool sets_times) {
  CopyRules rules;
  rules.upload = upload;
  rules.remove = remove;
  rules.resume = !upload;
  rules.in_the_way = remove ? CopyRules::InTheWay::replace : CopyRules::InTheWay::refuse;
  rules.temporaries = upload ? CopyRules::Temporaries::go_first : CopyRules::Temporaries::go_last;
  rules.compare.equal_times = !upload || sets_times;
  return rules;
}

Plan make_plan(const CopyEnds& ends, const CopyRules& rules) { return Planner{ends, rules}.run(); }

}  // namespace ftp_host
