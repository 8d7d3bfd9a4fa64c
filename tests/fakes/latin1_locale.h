// A process locale in ISO 8859-1. The locale of the process decides what a server without UTF-8 is sent.
#pragma once

#include "tests/fakes/locale.h"

namespace fakes {

/// One name in both encodings.
inline constexpr const char* kUtf8Name = "caf\xc3\xa9";
inline constexpr const char* kLatin1Name = "caf\xe9";

/// Makes the locale and sets it for the length of a scope; throws std::runtime_error when it cannot be made.
class Latin1Locale : public ScopedLocale {
 public:
  Latin1Locale() : ScopedLocale{"en_US", "ISO-8859-1"} {}
};

}  // namespace fakes
