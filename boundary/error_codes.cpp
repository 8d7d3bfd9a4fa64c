#include "boundary/error_codes.h"

#include <cerrno>

namespace ftp_plugin {

const char* error_name(AERROR code) noexcept {
  switch (code) {
#define AERROR_CODE(name, value) \
  case name:                     \
    return #name;
#include "boundary/abi/error_codes.def"
  }
  return "Unknown";
}

int error_to_posix(AERROR code) noexcept {
  // Kept on purpose: a missing path or a refused access is -EIO as well. Hosts tell only "no such file" from
  // everything else. Pinned by ErrorCodes.OnlyAMissingFileHasItsOwnPosixNumber.
  if (code == SUCCESS) return 0;
  return code == FILE_NOT_FOUND ? -ENOENT : -EIO;
}

}  // namespace ftp_plugin
