// Names that come from a server are hostile input: which of them may be used, and how they are shown.
#pragma once

#include <string>
#include <string_view>

namespace ftp_host {

/// Whether `name` can be one component of a path: not empty, not "." or "..", no "/" and no zero byte in it.
[[nodiscard]] bool is_usable_name(std::string_view name);

/// `text` with everything that could steer a terminal written out: control bytes, bytes that are not UTF-8 as
/// \xHH, C1 controls and the characters that turn the writing direction as \uHHHH, and "\" as "\\".
[[nodiscard]] std::string escape_for_terminal(std::string_view text);

/// `text` with U+FFFD for every byte that belongs to no character of UTF-8.
[[nodiscard]] std::string make_valid_utf8(std::string_view text);

}  // namespace ftp_host
