// Fetches the listing of one directory, as the server sends it.
#pragma once

#include <optional>

#include "transport/byte_sink.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// A directory as the server lists it.
struct raw_listing {
  bool is_mlsd;       ///< MLSD facts, else LIST lines
  malloc_block text;  ///< zero-terminated; null for an empty listing
};

/// Reads `path` (null is empty): with MLSD where the server understands it and `path` holds no "[", with LIST
/// elsewhere, over the SFTP channel on SFTP.
/// Returns    nothing when the directory could not be read; the log tells why.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] std::optional<raw_listing> read_dir(const server_view& server, const char* path);

}  // namespace ftp_plugin
