// How large libcurl's download buffer is to be for FTP.
#pragma once

#include <algorithm>

#include "transport/buffers.h"

namespace ftp_plugin {

/// CURLOPT_BUFFERSIZE under a speed limit (bytes per second; 0 or below: none). libcurl fills the buffer up
/// to a hundred times before it looks at the clock, and then pauses for as long as that should have taken:
/// more than 20 s of it would pass for a server that has gone silent.
[[nodiscard]] constexpr long ftp_download_buffer_size(long long speed_limit) noexcept {
  constexpr long long kFillsBetweenLooks = 100;
  if (speed_limit <= 0) return kDefaultDownloadBuffer;
  return static_cast<long>(
      std::clamp<long long>(speed_limit / kFillsBetweenLooks, kLeastBuffer, kDefaultDownloadBuffer));
}

}  // namespace ftp_plugin
