#include "common/url_encode.h"

#include <string_view>

#include "common/ascii.h"

namespace ftp_plugin {
namespace {

bool stays(char c) noexcept { return ascii::is_alnum(c) || c == '-' || c == '.' || c == '/' || c == '_'; }

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
