// Names and POSIX numbers of the result codes.
#pragma once

#include "boundary/abi/error_codes.h"

namespace ftp_plugin {

/// Name of `code` as a constant text; "Unknown" for a value without a name.
[[nodiscard]] const char* error_name(AERROR code) noexcept;

/// 0 for success, -ENOENT for FILE_NOT_FOUND, -EIO for everything else.
[[nodiscard]] int error_to_posix(AERROR code) noexcept;

}  // namespace ftp_plugin
