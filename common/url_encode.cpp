#include "common/url_encode.h"

#include <string_view>

namespace ftp_plugin {
namespace {

// Not isalnum(): that follows the locale, which the host sets.
bool stays(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
         c == '/' || c == '_';
}

}  // namespace

std::string URLEncode(const char* text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const std::string_view bytes{text};
  std::string result;
  result.reserve(3 * bytes.size());
  for (const char c : bytes) {
    if (stays(c)) {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return result;
}

}  // namespace ftp_plugin
