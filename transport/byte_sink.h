// Collects the bytes of a reply in memory.
#pragma once

#include <cstddef>
#include <vector>

namespace ftp_plugin {

using byte_vector = std::vector<char>;

/// libcurl write callback. Appends `size * count` bytes to the byte_vector behind `vector` and returns
/// `count`, narrowed to 32 bits. Appends nothing when the product is 0 or `vector` is null. When memory is
/// short it returns 0, which ends the transfer with CURLE_WRITE_ERROR.
std::size_t write_vector_char(void* bytes, std::size_t size, std::size_t count, void* vector) noexcept;

}  // namespace ftp_plugin
