// What an operation reports that makes or moves an entry.
#pragma once

#include <string>

#include "boundary/abi/error_codes.h"

namespace ftp_plugin {

struct changed_entry {
  AERROR result;   ///< SUCCESS or the failure
  std::string id;  ///< the entry as the host addresses it, to be read again; empty when nothing was changed
};

}  // namespace ftp_plugin
