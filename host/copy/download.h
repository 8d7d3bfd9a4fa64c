// Downloads one remote file into a local directory: to a temporary name first, then under its own.
#pragma once

#include "host/copy/progress.h"
#include "host/local/local_files.h"
#include "host/remote/session.h"

namespace ftp_host {

struct DownloadResult {
  std::int64_t bytes = 0;    ///< transferred now
  std::int64_t resumed = 0;  ///< taken over from an earlier run
};

/// Stores the file `entry`, which must come from exact_file, as `name` in `directory`, with its modification
/// time. With `resume`, what an interrupted run left of the same size and time is continued. The file `name`
/// is complete at every moment, old or new. Throws a Failure; what has come so far then stays for a later
/// run.
[[nodiscard]] DownloadResult download_file(Session& session, Progress& progress, const Entry& entry,
                                           const LocalDirectory& directory, const std::string& name,
                                           bool resume);

}  // namespace ftp_host
