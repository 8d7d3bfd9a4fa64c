// Sets the modification time of a file on an FTP server: MFMT.
#pragma once

#include <string>

#include "boundary/abi/error_codes.h"
#include "transport/pool/server_view.h"

namespace ftp_plugin {

/// Gives `path` (null is empty) the modification time `time`: a time text, whose clock time is sent as it is
/// written, without regard to its zone. Only where can_set_times says so. A failure is FAILED.
/// Errors     what server_view::connected_pool throws; std::bad_alloc.
[[nodiscard]] AERROR set_file_time(const server_view& server, const char* path, const std::string& time);

/// Whether the server sets times: an FTP server that names MFMT among its features.
[[nodiscard]] bool can_set_times(const server_view& server) noexcept;

}  // namespace ftp_plugin
