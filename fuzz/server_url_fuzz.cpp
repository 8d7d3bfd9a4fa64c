// Server URLs and paths: the parts of a URL fit together, and an encoded path holds only what a URL may.
#include <cstddef>
#include <cstdint>
#include <string>

#include "common/url_encode.h"
#include "fuzz/require.h"
#include "protocol/server_url.h"

namespace {

int digit(char c) {
  REQUIRE((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'));
  return c <= '9' ? c - '0' : c - 'A' + 10;
}

std::string decoded(const std::string& text) {
  std::string result;
  for (std::size_t n = 0; n < text.size(); ++n) {
    if (text[n] == '%') {
      REQUIRE(n + 2 < text.size());
      result += static_cast<char>(digit(text[n + 1]) * 16 + digit(text[n + 2]));
      n += 2;
    } else {
      REQUIRE(text[n] > ' ' && text[n] < '\x7F');
      result += text[n];
    }
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  const ftp_plugin::server_url parts = ftp_plugin::split_server_url(text);
  REQUIRE(parts.ssl.has_value() == parts.type.has_value());
  if (parts.type) {
    REQUIRE(*parts.ssl == "true" || *parts.ssl == "false");
    REQUIRE(parts.url.starts_with(*parts.type + "://"));
  } else {
    REQUIRE(parts.url == text);
  }
  if (!parts.root_path.empty()) {
    REQUIRE(parts.root_path.front() == '/');
    // The login cuts that many characters off the end of the URL.
    const std::size_t at = parts.url.rfind(parts.root_path);
    REQUIRE(at != std::string::npos && parts.url.size() - at - parts.root_path.size() <= 2);
  }

  const std::string path = text.c_str();
  REQUIRE(decoded(ftp_plugin::URLEncode(path.c_str())) == path);
  return 0;
}
