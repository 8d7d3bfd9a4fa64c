// Size and time of a file on an FTP server: SIZE and MDTM.
#pragma once

#include "boundary/abi/error_codes.h"
#include "boundary/abi/file_record.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Writes size and times of `path` (null is empty) into `file`. A size that the server does not tell becomes
/// -1, a time the second before 1970; both do when the request fails. A missing file is FAILED like every
/// other failure. Without a login the result is FAILED too, and the record stays as it was.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] AERROR ftp_get_info(const server_view& server, const char* path, _FS_FILE_V2& file);

}  // namespace ftp_plugin
