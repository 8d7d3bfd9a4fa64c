// Downloads a range of a file.
#pragma once

#include <memory>

#include "boundary/abi/error_codes.h"
#include "boundary/abi/host_interfaces.h"
#include "boundary/abi/transfer_handle.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Delivers the bytes [offset, offset + length) of `path` to `callback`, in blocks of 65,536 bytes and a
/// shorter last one; `length` is above 0, `path` neither null nor empty. When the file ends before the range
/// does, what is left below a block is not delivered, and the read succeeds. `handle` (may be null) tells of
/// a stop by the host and of the progress: a stop is READ_CANCELED, any other failure FILE_READ_FAILED,
/// without a login FAILED.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] AERROR read_range(const server_view& server, const char* path, long long offset,
                                long long length, std::shared_ptr<_FS_HANDLE> handle,
                                IFetchCallback* callback);

}  // namespace ftp_plugin
