// Result codes of the plug-in, as the host and the plug-in exchange them.
#pragma once

#include <cstdint>

/// Result of every operation; 0 is success. Values between the named ones do not occur.
/// A result that a caller drops on purpose is cast to void.
enum [[nodiscard]] AERROR : std::int32_t{
#define AERROR_CODE(name, value) name = value,
#include "error_codes.def"
};
