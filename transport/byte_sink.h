// Collects the bytes of a reply in memory.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <string_view>

#include "common/owner.h"

namespace ftp_plugin {

/// Owns a block of malloc's.
using malloc_block = owner<char, std::free>;

/// Bytes that grow at the end, in one block of malloc's. The C library enlarges a long block by moving its
/// pages, not its bytes: a listing of a hundred megabytes is written once and never held twice, and each byte
/// costs the same whatever its length is.
class byte_vector {
 public:
  /// Errors     std::bad_alloc; the bytes are then as they were.
  void append(std::string_view bytes);
  void push_back(char byte) { append({&byte, 1}); }
  void clear() noexcept { size_ = 0; }

  [[nodiscard]] const char* data() const noexcept { return block_.get(); }
  [[nodiscard]] const char* begin() const noexcept { return data(); }
  [[nodiscard]] const char* end() const noexcept { return data() + size_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] bool operator==(const byte_vector& other) const noexcept { return text() == other.text(); }

  /// Gives the bytes away as zero-terminated text and is empty afterwards.
  /// Returns    null for no bytes.
  /// Errors     std::bad_alloc; the bytes are then as they were.
  [[nodiscard]] malloc_block release_text();

 private:
  [[nodiscard]] std::string_view text() const noexcept { return {data(), size_}; }
  void resize_block(std::size_t capacity);

  malloc_block block_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

/// libcurl write callback. Appends `size * count` bytes to the byte_vector behind `vector` and returns
/// `count`, narrowed to 32 bits. Appends nothing when the product is 0 or `vector` is null. When memory is
/// short it returns 0, which ends the transfer with CURLE_WRITE_ERROR.
std::size_t write_vector_char(void* bytes, std::size_t size, std::size_t count, void* vector) noexcept;

}  // namespace ftp_plugin
