// Moves an entry, which is also how it is renamed: RNFR and RNTO, on SFTP rename.
#pragma once

#include <cstdint>
#include <string>

#include "fileops/changed_entry.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Moves `src` (null is empty) to `target` (null is empty) + "/" + `name` (UTF-8). `attr` is the entry's kind
/// as the host knows it. The server decides what becomes of an entry that has the new name already. Moving
/// the root, or anything to the place of the root, is SUCCESS, and nothing is sent. Failures are
/// ACCESS_DENIED and FILE_WRITE_FAILED, without a login FAILED. Errors     what server_view::connected_pool
/// throws; std::bad_alloc.
[[nodiscard]] changed_entry move_entry(const server_view& server, const char* src, const char* target,
                                       const std::string& name, std::uint32_t attr);

}  // namespace ftp_plugin
