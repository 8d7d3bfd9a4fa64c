#include "transport/byte_sink.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <utility>

#include "boundary/log.h"

namespace ftp_plugin {

void byte_vector::append(std::string_view bytes) {
  if (bytes.empty()) return;
  if (bytes.size() > capacity_ - size_) {
    constexpr std::size_t kSmallest = 256;
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / 2;
    if (bytes.size() > kMost - size_) throw std::bad_alloc{};
    // Doubled, so that the number of moves stays small; what is not yet written costs no memory.
    resize_block(std::max({kSmallest, size_ + bytes.size(), capacity_ * 2}));
  }
  std::memcpy(block_.get() + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

malloc_block byte_vector::release_text() {
  if (empty()) return nullptr;
  resize_block(size_ + 1);
  block_.get()[size_] = '\0';
  size_ = 0;
  capacity_ = 0;
  return std::move(block_);
}

void byte_vector::resize_block(std::size_t capacity) {
  char* block = static_cast<char*>(std::realloc(block_.get(), capacity));
  if (block == nullptr) throw std::bad_alloc{};  // the old block is untouched and still owned
  (void)block_.release();
  block_.reset(block);
  capacity_ = capacity;
}

std::size_t write_vector_char(void* bytes, std::size_t size, std::size_t count, void* vector) noexcept {
  const std::size_t total = size * count;
  if (total != 0 && vector != nullptr) {
    try {
      static_cast<byte_vector*>(vector)->append({static_cast<const char*>(bytes), total});
    } catch (const std::exception&) {
      __LOG__A(current_logger(), LOGLEVEL_ERROR, "[NETWORK   ] no memory for the rest of a reply");
      return 0;
    }
  }
  return static_cast<std::uint32_t>(count);
}

}  // namespace ftp_plugin
