// What `get -r`, `put -r` and `sync` have to do, found out before anything is changed. There is one planner;
// each of the three has a set of rules for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/copy/compare.h"
#include "host/failure.h"
#include "host/tree/filter.h"
#include "host/tree/tree.h"

namespace ftp_host {

/// What a copy of a tree does with what it finds.
struct CopyRules {
  /// Something in the target that is of another kind than what comes there.
  enum class InTheWay {
    refuse,   ///< a problem of the plan
    replace,  ///< it is removed, unless the filter leaves it out
    attempt,  ///< the step is planned all the same, and fails with the reason of the file system
  };
  /// When the temporary files go that interrupted runs left in the target.
  enum class Temporaries {
    go_first,  ///< before anything else: nothing continues them
    go_last,   ///< once every file is there: until then they can be continued
    stay,
  };

  bool upload = true;
  bool copy_all = false;  ///< without comparing
  bool remove = false;    ///< what the source does not have
  bool resume = false;    ///< downloads continue what an earlier run left
  InTheWay in_the_way = InTheWay::refuse;
  Temporaries temporaries = Temporaries::go_first;
  bool tells_bytes = false;  ///< -v tells where each file is and its bytes, not only its path
  Filter filter;
  CompareRules compare;
};

/// `get -r`. With `resume` files that are certainly equal are left alone, and partial ones are continued.
[[nodiscard]] CopyRules get_rules(bool resume);
/// `put -r`.
[[nodiscard]] CopyRules put_rules();
/// `sync`, without filter and time window. `sets_times`: the server takes modification times.
[[nodiscard]] CopyRules sync_rules(bool upload, bool remove, bool sets_times);

/// One thing to do. `path` is below the top, on both sides.
struct Step {
  enum class Kind { remove_temporary, remove, make_directory, copy_file };
  enum class Reason {
    missing,         ///< the target does not have it
    different,       ///< the target has another version
    everything,      ///< the rules compare nothing
    perhaps,         ///< the target may have this version: to be compared once more, with exact times
    in_the_way,      ///< of something of another kind
    not_in_source,   ///< and the rules remove that
    of_another_run,  ///< a temporary file
  };
  Kind kind = Kind::copy_file;
  Reason reason = Reason::missing;
  std::string path;
  bool directory = false;      ///< what the step is about is one
  std::size_t parent = 0;      ///< copies: the directory to copy into, by its index in Plan::directories
  std::size_t made = 0;        ///< make_directory: the index of the new one
  Entry source;                ///< copies
  std::optional<Entry> there;  ///< copies that are to be done `perhaps`: what the target has
  std::string place;           ///< removals: in the target
};

/// A directory of the source that takes part.
struct PlannedDirectory {
  std::string path;  ///< below the top; empty for the top itself
  std::size_t parent = 0;
  std::string name;
  std::optional<std::string> target;  ///< its place in the target; none while it has to be made
};

/// Each list in the order in which its steps are done; copies in any order, several at a time.
struct Plan {
  std::vector<PlannedDirectory> directories;  ///< parents first; the first is the top
  std::vector<Step> temporaries;
  std::vector<Step> clearings;  ///< what is in the way; before anything is made
  std::vector<Step> makings;    ///< parents first
  std::vector<Step> copies;
  std::vector<Step> extras;  ///< what the source does not have; after everything else
  std::size_t unchanged = 0;
  std::vector<std::string> left_out;  ///< each a notice: what is left out, and why
  std::vector<Failure> problems;      ///< what could not be planned; nothing may be removed then
};

/// What is to be copied, and where.
struct CopyEnds {
  Tree& source;
  Entry top;                       ///< of the source
  std::optional<Listing> listing;  ///< of `top`, where it is known already
  Tree& target;
  bool target_exists = true;  ///< the top of the target is there
};

[[nodiscard]] Plan make_plan(const CopyEnds& ends, const CopyRules& rules);

}  // namespace ftp_host
