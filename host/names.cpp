#include "host/names.h"

#include <fmt/format.h>
#include <utf8cpp/utf8.h>

#include <cstdint>

namespace ftp_host {
namespace {

/// Calls `known` with each character of UTF-8 in `text` and its bytes, and `foreign` with each byte that
/// belongs to none.
template <class Known, class Foreign>
void for_each_character(std::string_view text, const Known& known, const Foreign& foreign) {
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    const char* const broken = utf8::find_invalid(at, end);
    while (at != broken) {
      const char* const begin = at;
      const char32_t character = utf8::unchecked::next(at);
      known(std::string_view{begin, at}, character);
    }
    if (broken != end) foreign(*at++);
  }
}

std::string byte_escape(char byte) {
  return fmt::format("\\x{:02X}", static_cast<unsigned>(static_cast<unsigned char>(byte)));
}

bool steers_terminal(char32_t c) {
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
  for_each_character(
      text,
      [&](std::string_view bytes, char32_t character) {
        if (character < 0x80 && steers_terminal(character)) {
          out += byte_escape(bytes.front());
        } else if (steers_terminal(character)) {
          out += fmt::format("\\u{:04X}", static_cast<std::uint32_t>(character));
        } else if (character == U'\\') {
          out += "\\\\";
        } else {
          out += bytes;
        }
      },
      [&](char foreign) { out += byte_escape(foreign); });
  return out;
}

std::string make_valid_utf8(std::string_view text) {
  std::string out;
  for_each_character(
      text, [&](std::string_view bytes, char32_t) { out += bytes; }, [&](char) { out += "\uFFFD"; });
  return out;
}

}  // namespace ftp_host
