// Conversion of whole names between two encodings.
// A converter holds state of iconv's: one thread at a time may use it. Different ones are independent.
#pragma once

#include <iconv.h>

#include <cstddef>
#include <optional>
#include <string>

#include "common/owner.h"
#include "common/pinned.h"

namespace ftp_plugin {

struct iconv_kind {
  using handle = iconv_t;
  static handle none() noexcept {
    return reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr): iconv's own "none"
  }
  static void close(handle conversion) noexcept { iconv_close(conversion); }
};

/// One open conversion between two encodings; false when iconv does not know the pair.
/// An empty name stands for the encoding of the current locale.
class converter : pinned {
 public:
  converter(const char* to, const char* from) noexcept : cd_{iconv_open(to, from)} {}
  explicit operator bool() const noexcept { return static_cast<bool>(cd_); }
  [[nodiscard]] iconv_t get() const noexcept { return cd_.get(); }

 private:
  handle_owner<iconv_kind> cd_;
};

/// What one converted name may need, its terminating zero byte included.
inline constexpr std::size_t kNameBufferSize = 65536;

/// Converts the whole of `name`, beginning and ending in the initial state of the encodings.
/// An open converter serves any number of names, one after the other.
/// Returns    the converted text up to its first zero byte. Nothing when the converter is not open, the
///            name is not complete and valid, a character has no exact counterpart, or the result and its
///            terminating zero do not fit into kNameBufferSize bytes: callers keep the name as it was.
/// Errors     std::bad_alloc.
[[nodiscard]] std::optional<std::string> convert_name(const converter& conversion, const std::string& name);

}  // namespace ftp_plugin
