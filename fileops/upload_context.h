// Feeds an upload from the host's cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "boundary/abi/host_interfaces.h"
#include "boundary/abi/transfer_handle.h"
#include "transport/buffers.h"

namespace ftp_plugin {

/// State of one upload; the cache is the host's.
struct _RAREADCTX {
  std::uint64_t offset = 0;            ///< file offset of the next byte
  std::shared_ptr<_FS_HANDLE> handle;  ///< stop flag, and where the offset is reported; may be null
  ICacheIO* cache = nullptr;
  std::uint64_t size = 0;                      ///< size of the whole file
  std::uint64_t block = kDefaultUploadBuffer;  ///< bytes that the cache is asked for at once
  bool asked = false;                          ///< the cache was asked for a block
};

/// libcurl read callback; `userdata` is the _RAREADCTX. Returns the bytes that the cache put into `buffer` (0
/// ends the file), or CURL_READFUNC_ABORT once the host has stopped the transfer, or the cache has given more
/// than the file holds. A cache that claims to have put more there than was asked for gets the upload ended
/// by libcurl, with CURLE_READ_ERROR. libcurl 8 asks for no byte behind the size that it was told; the cache
/// is asked for whole blocks all the same, and what it has behind the end counts in `offset`: a file that is
/// longer than its record must not pass for stored.
std::size_t read_callback_cache_func(char* buffer, std::size_t size, std::size_t nmemb,
                                     void* userdata) noexcept;

/// Asks a cache that was asked for nothing, because the record tells of an empty file, whether it agrees;
/// what it has counts in `offset`.
void ask_for_an_empty_file(_RAREADCTX& context) noexcept;

}  // namespace ftp_plugin
