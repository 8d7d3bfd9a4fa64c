// Decimal numbers as the C library's atoll reads them, on text that no NUL ends.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>

#include "common/ascii.h"

namespace ftp_plugin {

/// Leading white space of the C locale, one sign, digits; what follows is ignored. 0 when no digit comes.
/// A number out of range gives the nearest 64-bit value.
[[nodiscard]] inline std::int64_t atoll_of(std::string_view text) noexcept {
  text.remove_prefix(
      static_cast<std::size_t>(std::ranges::find_if_not(text, ascii::is_space) - text.begin()));
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);  // from_chars knows no plus
  std::int64_t value = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range) {
    using limits = std::numeric_limits<std::int64_t>;
    return text.front() == '-' ? limits::min() : limits::max();
  }
  return value;
}

}  // namespace ftp_plugin
