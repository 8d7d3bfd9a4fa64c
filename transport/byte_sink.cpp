#include "transport/byte_sink.h"

#include <cstdint>
#include <exception>

namespace ftp_plugin {

std::size_t write_vector_char(void* bytes, std::size_t size, std::size_t count, void* vector) noexcept {
  const std::size_t total = size * count;
  if (total != 0 && vector != nullptr) {
    const char* first = static_cast<const char*>(bytes);
    auto& sink = *static_cast<byte_vector*>(vector);
    try {
      sink.insert(sink.end(), first, first + total);
    } catch (const std::exception&) {
      return 0;
    }
  }
  return static_cast<std::uint32_t>(count);
}

}  // namespace ftp_plugin
