// Collects the bytes of a ranged download into blocks for the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "boundary/abi/host_interfaces.h"
#include "boundary/abi/transfer_handle.h"

namespace ftp_plugin {

inline constexpr std::int32_t kReadBlockSize = 65536;

/// State of one ranged download. One allocation; the callback is the host's.
struct _RAWRITECTX {
  std::int64_t offset = 0;             ///< file offset of the first byte of the next block
  std::int64_t remaining = 0;          ///< bytes of the range not yet delivered
  std::int64_t start = 0;              ///< the offset asked for
  std::int64_t received = 0;           ///< bytes accepted from libcurl
  std::shared_ptr<_FS_HANDLE> handle;  ///< keeps the host's stop flag alive; may be null: never stopped
  char buffer[kReadBlockSize] = {};    ///< block being filled
  std::int32_t fill = 0;               ///< bytes in `buffer`
  IFetchCallback* callback = nullptr;  ///< the host's sink
};

/// Whether the host has stopped the transfer of `handle`; false for null.
[[nodiscard]] bool is_stopped(const std::shared_ptr<_FS_HANDLE>& handle) noexcept;

/// libcurl write callback; `userdata` is the _RAWRITECTX. Delivers a block whenever 65,536 bytes or the rest
/// of the range are there; what is left below that is never delivered. Returns the bytes taken, or 0 once the
/// host has stopped the transfer (libcurl then ends with CURLE_WRITE_ERROR).
std::size_t write_callback_cache_func(char* data, std::size_t size, std::size_t nmemb,
                                      void* userdata) noexcept;

}  // namespace ftp_plugin
