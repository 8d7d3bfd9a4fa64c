// Uploads one local file: to a temporary name first, with its time, then under its own.
#pragma once

#include "host/copy/progress.h"
#include "host/local/local_files.h"
#include "host/remote/session.h"

namespace ftp_host {

/// Stores the local file `name` of `from` as `remote_name` in the remote directory `directory`, with its
/// modification time where the server takes one. The remote file is complete at every moment, old or new,
/// except on a server that refuses to rename over a file: there the old one is removed just before. Returns
/// the number of bytes. Throws a Failure, also when the local file changes meanwhile, and when the server
/// stores the file and refuses its time.
[[nodiscard]] std::int64_t upload_file(Session& session, Progress& progress, const LocalDirectory& from,
                                       const std::string& name, const std::string& directory,
                                       const std::string& remote_name);

/// Stores a file of no bytes under its own name.
void upload_empty(Session& session, const std::string& directory, const std::string& name);

}  // namespace ftp_host
