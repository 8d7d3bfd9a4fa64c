#include "host/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace ftp_host {
namespace {

/// Length of the UTF-8 sequence that `text` begins with, its character in `character`; 0 when there is none.
std::size_t decode_utf8(std::string_view text, std::uint32_t& character) {
  const auto byte = [&](std::size_t i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
  };
  const std::uint32_t first = byte(0);
  if (first < 0x80) {
    character = first;
    return 1;
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  character = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0u) != 0x80u) return 0;
    character = (character << 6) | (byte(i) & 0x3Fu);
  }
  const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  if (overlong || character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) return 0;
  return length;
}

bool steers_terminal(std::uint32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x061C || c == 0x200E || c == 0x200F ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

bool is_usable_name(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

std::string escape_for_terminal(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    std::uint32_t character = 0;
    const std::size_t length = decode_utf8(text, character);
    if (length == 0 || (length == 1 && steers_terminal(character))) {
      out += fmt::format("\\x{:02X}", static_cast<unsigned>(static_cast<unsigned char>(text[0])));
    } else if (steers_terminal(character)) {
      out += fmt::format("\\u{:04X}", character);
    } else if (character == '\\') {
      out += "\\\\";
    } else {
      out.append(text.substr(0, length));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return out;
}

std::string make_valid_utf8(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    std::uint32_t character = 0;
    const std::size_t length = decode_utf8(text, character);
    out.append(length == 0 ? "\xEF\xBF\xBD" : text.substr(0, length));
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return out;
}

}  // namespace ftp_host
