// A directory as records: fetches its listing and delivers it.
#pragma once

#include "boundary/abi/error_codes.h"
#include "boundary/abi/file_record.h"
#include "boundary/abi/host_interfaces.h"
#include "listing/basic_line.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Who is told of the entries. Everything is borrowed for the call.
struct listing_receiver {
  IFileList* list = nullptr;        ///< receives every entry; may be null
  const char* find_name = nullptr;  ///< the raw name to look up; may be null
  _FS_FILE_V2* found = nullptr;     ///< receives the entry that has it; as it was when there is none
  link_follower follow_link = {};   ///< see basic_line_context::follow_link; may be empty
};

/// Lists `path` (null is empty), see listing/delivery.h for what is delivered. A look-up that finds nothing
/// is a success. FAILED when the directory could not be read. Errors     what server_view::connected_pool
/// throws; std::bad_alloc; what the host's AddFile throws.
[[nodiscard]] AERROR list_directory(const server_view& server, const char* path,
                                    const listing_receiver& receiver);

/// Fills `file` from the entry of the folder of `path` (null is empty) whose name is the last part of the
/// record's identifier; leaves it as it was where that name is not listed. Otherwise as list_directory.
[[nodiscard]] AERROR look_up_in_parent(const server_view& server, const char* path, _FS_FILE_V2& file);

}  // namespace ftp_plugin
