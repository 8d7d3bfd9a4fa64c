// What a synchronisation has to do, found out before anything is changed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/copy/tree.h"
#include "host/failure.h"
#include "host/local/filter.h"
#include "host/remote/session.h"

namespace ftp_host {

enum class Verdict { same, different, ask };

struct CompareRules {
  /// Both sides can carry the same time. False for uploads to a server that takes no times: its file is then
  /// as old as the upload, so it is the same while it is not older than the local one.
  bool equal_times = true;
  std::int64_t window = 0;  ///< seconds that count as no difference
};

/// Compares size and time. `ask`: the remote time comes from a listing, which may be rounded or in another
/// time zone, and decides nothing; with `exact` it comes from the server's answer for this one file.
[[nodiscard]] Verdict compare(const Entry& local, const Entry& remote, bool exact, const CompareRules& rules);

struct SyncOptions {
  bool upload = true;
  bool copy_all = false;  ///< copy without comparing
  bool remove = false;
  Filter filter;
  CompareRules rules;
};

struct PlannedDirectory {
  std::string path;  ///< below the top; empty for the top itself
  std::size_t parent = 0;
  std::string name;
  std::optional<std::string> target;  ///< its place; none while it has to be made
};

struct PlannedFile {
  std::string path;
  std::size_t directory = 0;
  Entry source;
  std::optional<Entry> target;  ///< to be compared once more, with exact times; none: certainly to be copied
};

struct PlannedRemoval {
  std::string path;
  std::string place;
  bool directory = false;
};

struct Plan {
  std::vector<PlannedDirectory> directories;  ///< parents first; the first is the top
  std::vector<PlannedFile> files;
  std::vector<PlannedRemoval> conflicts;  ///< in the way of something of another kind; before everything else
  std::vector<PlannedRemoval> extras;     ///< not in the source; after everything else
  std::vector<PlannedRemoval> temporaries;  ///< what interrupted runs left
  std::size_t unchanged = 0;
  std::vector<std::string> left_out;  ///< links and the like
  std::vector<Failure> problems;      ///< what could not be planned; nothing may be removed then
};

/// `target_exists`: whether the target's top is there.
[[nodiscard]] Plan make_plan(Tree& source, Tree& target, bool target_exists, const SyncOptions& options);

}  // namespace ftp_host
