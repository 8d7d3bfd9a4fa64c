// Stores a whole file.
#pragma once

#include <memory>

#include "boundary/abi/file_record.h"
#include "boundary/abi/host_interfaces.h"
#include "boundary/abi/transfer_handle.h"
#include "fileops/changed_entry.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Stores `file.size` bytes from `cache` as `path` (null is empty) + "/" + `file.name` (UTF-8). `handle` (may
/// be null) tells of a stop by the host, of the position and of the progress. Fewer or more bytes than
/// `file.size` are FILE_WRITE_FAILED, and so is a stop; what has arrived stays on the server. A negative size
/// stands for an unknown one. Other failures are ACCESS_DENIED and FILE_WRITE_FAILED, without a login FAILED.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] changed_entry upload(const server_view& server, const char* path,
                                   std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                                   const _FS_FILE_V2& file);

}  // namespace ftp_plugin
