// Decimal numbers as the C library's atoll reads them, on text that no NUL ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace ftp_plugin {

/// Leading white space of the C locale, one sign, digits; what follows is ignored. 0 when no digit comes.
/// A number out of range gives the nearest 64-bit value.
[[nodiscard]] constexpr std::int64_t atoll_of(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  std::int64_t value = 0;  // kept negative: the range has one more number on that side
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const int digit = text[i] - '0';
    if (value < (kMin + digit) / 10) return negative ? kMin : kMax;
    value = value * 10 - digit;
  }
  if (negative) return value;
  return value == kMin ? kMax : -value;
}

}  // namespace ftp_plugin
