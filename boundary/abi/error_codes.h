// Result codes of the plug-in, as the host and the plug-in exchange them.
#pragma once

#include <cstdint>

/// Result of every operation; 0 is success. Values between the named ones do not occur.
enum AERROR : std::int32_t {
#define AERROR_CODE(name, value) name = value,
#include "error_codes.def"
};
