// Size and time of a file on an FTP server: SIZE and MDTM.
#pragma once

#include "boundary/abi/error_codes.h"
#include "boundary/abi/file_record.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Writes size and times of `path` (null is empty) into `file`; what the server does not tell becomes -1 and
/// the time before 1970 that stands for it, also when the request fails. A missing file is FAILED like every
/// other failure; without a login FAILED leaves the record as it was.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] AERROR ftp_get_info(const server_view& server, const char* path, _FS_FILE_V2& file);

}  // namespace ftp_plugin
