// Creates a directory: MKD, on SFTP mkdir.
#pragma once

#include <string>

#include "fileops/changed_entry.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Creates the directory `name` (UTF-8) in `path` (null is empty). A name that the server refuses is
/// ACCESS_DENIED or FOLDER_CREATION_FAILED; the root can never be created and is FAILED.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] changed_entry create_directory(const server_view& server, const char* path,
                                             const std::string& name);

}  // namespace ftp_plugin
