// Whether a local and a remote file are the same, as far as size and time tell.
#pragma once

#include <cstdint>

#include "host/tree/tree.h"

namespace ftp_host {

enum class Verdict { same, different, ask };

struct CompareRules {
  /// Both sides can carry the same time. False for uploads to a server that takes no times: its file is then
  /// as old as the upload, so it is the same while it is not older than the local one.
  bool equal_times = true;
  std::int64_t window = 0;  ///< seconds that count as no difference
  /// What the server does not tell, even when asked for one file, counts as equal.
  bool unknown_is_equal = true;
};

/// Compares size and time. `exact`: the size and time of `remote` are the server's answer for this one file.
/// Otherwise they come from a listing, which may round times or write them in another time zone, and `ask`
/// says that only the exact ones decide.
[[nodiscard]] Verdict compare(const Entry& local, const Entry& remote, bool exact, const CompareRules& rules);

}  // namespace ftp_host
