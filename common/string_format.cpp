#include "common/string_format.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace ftp_plugin {

// By value, since va_start may not be given a reference. NOLINTNEXTLINE(performance-unnecessary-value-param)
std::string string_format(std::string format, ...) {
  // An error may mean a lack of room to some C libraries. One that persists with this much does not.
  constexpr std::size_t kLargest = std::size_t{1} << 24;

  std::va_list arguments;
  va_start(arguments, format);
  struct list_end {
    std::va_list& list;
    ~list_end() { va_end(list); }
  } const at_exit{arguments};

  // Twice the format's length fits most commands and paths, so most texts are formatted once.
  for (std::size_t size = 2 * format.size();;) {
    const std::unique_ptr<char[]> buffer{new char[size]};
    std::va_list copy;
    va_copy(copy, arguments);
    const int count = std::vsnprintf(buffer.get(), size, format.c_str(), copy);
    va_end(copy);
    if (count >= 0 && static_cast<std::size_t>(count) < size) {
      return std::string{buffer.get()};
    }
    if (count < 0 && size >= kLargest) {
      throw std::bad_alloc{};
    }
    size = count >= 0 ? static_cast<std::size_t>(count) + 1 : 2 * size;
  }
}

}  // namespace ftp_plugin
