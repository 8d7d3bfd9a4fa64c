// Kinds and case of ASCII characters, whatever locale the host has set: a server's text must not read
// otherwise under another one, and a Turkish "I" is no "i". Bytes from 0x80 on are of no kind and have no
// case. Free functions without state, safe from any thread. No errors.
#pragma once

#include <algorithm>
#include <string_view>

namespace ftp_plugin::ascii {

[[nodiscard]] constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }

[[nodiscard]] constexpr bool is_upper(char c) noexcept { return c >= 'A' && c <= 'Z'; }

[[nodiscard]] constexpr bool is_lower(char c) noexcept { return c >= 'a' && c <= 'z'; }

[[nodiscard]] constexpr bool is_alpha(char c) noexcept { return is_upper(c) || is_lower(c); }

[[nodiscard]] constexpr bool is_alnum(char c) noexcept { return is_alpha(c) || is_digit(c); }

/// Blank, TAB, LF, VT, FF or CR.
[[nodiscard]] constexpr bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// `c`, or its other case where it is a letter of the wrong one.
[[nodiscard]] constexpr char lower(char c) noexcept {
  return is_upper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] constexpr char upper(char c) noexcept {
  return is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

/// True when the texts are the same but for the case of their letters.
[[nodiscard]] constexpr bool equal_ignoring_case(std::string_view left, std::string_view right) noexcept {
  return std::ranges::equal(left, right, {}, lower, lower);
}

}  // namespace ftp_plugin::ascii
