// The size of a file, as the server's replies tell it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ftp_plugin {

/// The size in a reply to SIZE, read as libcurl reads it: the digits at the end of the line, whatever stands
/// before them. Nothing for any other reply than 213, and for a number that is none.
[[nodiscard]] std::optional<std::int64_t> size_in_reply(std::string_view line) noexcept;

/// The size in the reply that begins a transfer: "150 Opening data connection for a.bin (1234 bytes)."
/// Nothing where there is none.
[[nodiscard]] std::optional<std::int64_t> size_in_preliminary_reply(std::string_view line) noexcept;

}  // namespace ftp_plugin
