// libcurl's result of a failed request as the code that the host gets, one small table per kind of operation.
#pragma once

#include <curl/curl.h>

#include "boundary/abi/error_codes.h"

namespace ftp_plugin {

[[nodiscard]] AERROR read_result(CURLcode code) noexcept;    ///< Read
[[nodiscard]] AERROR create_result(CURLcode code) noexcept;  ///< CreateDirectory
[[nodiscard]] AERROR write_result(CURLcode code) noexcept;   ///< Upload, Move, MoveDir, Rename

}  // namespace ftp_plugin
