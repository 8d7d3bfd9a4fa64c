// Deletes a file or a directory: DELE and RMD, on SFTP rm and rmdir.
#pragma once

#include "boundary/abi/error_codes.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Deletes `path` (null is empty). Every failure is FAILED, whatever the server said; whether a directory has
/// to be empty is the server's decision.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] AERROR delete_entry(const server_view& server, const char* path, bool directory);

}  // namespace ftp_plugin
