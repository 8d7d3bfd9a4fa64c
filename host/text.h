// Small helpers for text that is ASCII where it matters, independent of the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace ftp_host {

/// 'A' to 'Z' in small letters; every other byte as it is.
[[nodiscard]] constexpr char to_lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] std::string to_lower(std::string_view text);
/// Equal but for the case of 'A' to 'Z'.
[[nodiscard]] bool equal_ignoring_case(std::string_view a, std::string_view b) noexcept;

/// Takes line ends and blanks off the end of `line`.
void trim_end(std::string& line);

/// `text` as a number in `base`; none when it is anything else, has a blank or a "+", or does not fit.
template <class Number>
[[nodiscard]] std::optional<Number> parse_number(std::string_view text, int base = 10) {
  Number value{};
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value, base);
  if (error != std::errc{} || end != last) return std::nullopt;
  return value;
}

}  // namespace ftp_host
