// How large libcurl's buffers are to be for SFTP. libcurl keeps four download buffers, or one upload buffer,
// on the road at a time, so with its own defaults a distant server is read and written at a fraction of what
// the line carries.
#pragma once

#include <algorithm>

#include "transport/buffers.h"

namespace ftp_plugin {

inline constexpr long kSmallestDownloadBuffer = 8L * 1024;
inline constexpr long kLargestDownloadBuffer = 512L * 1024;
inline constexpr long kLargestUploadBuffer = 2L * 1024 * 1024;  ///< more libcurl does not take

/// Part of a range that one buffer takes. libcurl keeps asking for what lies four buffers ahead and so
/// receives nearly three buffers behind the end of the range. Measured with ranges of 64 KiB to 8 MiB: at an
/// eleventh at most 1.26 times the range arrives (1.35 at an eighth, 1.7 at a quarter), in one round trip
/// more than at a quarter.
inline constexpr long long kBuffersInARange = 11;

/// CURLOPT_BUFFERSIZE for a read of `range` bytes. Under a speed limit (bytes per second; 0 or below: none) a
/// hundred buffers hold at most four seconds' worth: libcurl empties a hundred of them before it looks at the
/// clock, and then pauses for as long as that should have taken; more than 20 s would pass for a server that
/// has gone silent. Less than four seconds' worth would not reach the limit over a distant line.
[[nodiscard]] constexpr long download_buffer_size(long long range, long long speed_limit) noexcept {
  constexpr long long kBuffersASecond = 25;
  const auto size =
      std::clamp<long long>(range / kBuffersInARange, kSmallestDownloadBuffer, kLargestDownloadBuffer);
  if (speed_limit <= 0) return static_cast<long>(size);
  return static_cast<long>(std::clamp<long long>(speed_limit / kBuffersASecond, kLeastBuffer, size));
}

/// CURLOPT_UPLOAD_BUFFERSIZE. Under a speed limit a second's worth, so that the host's wish to stop, which is
/// looked at once a buffer, does not wait for minutes.
[[nodiscard]] constexpr long upload_buffer_size(long long speed_limit) noexcept {
  if (speed_limit <= 0) return kLargestUploadBuffer;
  return static_cast<long>(std::clamp<long long>(speed_limit, kDefaultUploadBuffer, kLargestUploadBuffer));
}

}  // namespace ftp_plugin
