// Paths inside the URLs that libcurl is given. Free function without state, safe from any thread.
#pragma once

#include <string>

namespace ftp_plugin {

/// Copies ASCII letters, digits, "-", ".", "/" and "_"; every other byte becomes "%" and two upper-case
/// hexadecimal digits. "/" is kept so that a whole path can be encoded at once. `text` may not be null.
/// Errors     std::bad_alloc.
[[nodiscard]] std::string URLEncode(const char* text);

}  // namespace ftp_plugin
