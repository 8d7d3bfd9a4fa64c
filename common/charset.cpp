#include "common/charset.h"

#include <cstring>

namespace ftp_plugin {

std::optional<std::string> convert_name(const converter& conversion, const std::string& name) {
  if (!conversion) {
    return std::nullopt;
  }
  iconv(conversion.get(), nullptr, nullptr, nullptr, nullptr);

  // Not zeroed: that would cost more than the conversion. Only the bytes written are looked at.
  char buffer[kNameBufferSize];
  char* in = const_cast<char*>(name.data());  // iconv moves the pointer and reads
  std::size_t in_left = name.size();
  char* out = buffer;
  std::size_t out_left = sizeof buffer;
  if (iconv(conversion.get(), &in, &in_left, &out, &out_left) != 0) {
    return std::nullopt;
  }
  // Some encodings hold the last letter back, in case an accent follows; others owe a shift to their initial
  // state. Without this call the name would lose its end.
  if (iconv(conversion.get(), nullptr, nullptr, &out, &out_left) != 0) {
    return std::nullopt;
  }

  const std::size_t written = sizeof buffer - out_left;
  const void* end = std::memchr(buffer, 0, written);
  if (end == nullptr && out_left == 0) {
    return std::nullopt;  // no room for the zero that would end the text
  }
  return std::string(
      buffer, end == nullptr ? written : static_cast<std::size_t>(static_cast<const char*>(end) - buffer));
}

}  // namespace ftp_plugin
