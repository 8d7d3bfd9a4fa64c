// Makes remote directories that may be there already.
#pragma once

#include <string>

#include "host/remote/session.h"

namespace ftp_host {

/// Makes `name` in `directory` unless it is there; returns its remote path. Throws a Failure.
[[nodiscard]] std::string ensure_directory(Session& session, const std::string& directory,
                                           const std::string& name);

/// Makes `path` and every directory above it that is missing. Throws a Failure.
void ensure_path(Session& session, const std::string& path);

}  // namespace ftp_host
