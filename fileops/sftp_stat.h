// The attributes of a path on an SFTP server.
#pragma once

#include "boundary/abi/error_codes.h"
#include "boundary/abi/file_record.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Writes kind, times and, of a file, the size of `path` (null is empty) into `file`; links are followed. A
/// failure is FAILED and leaves the record as it was.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] AERROR sftp_stat(const server_view& server, const char* path, _FS_FILE_V2& file);

}  // namespace ftp_plugin
