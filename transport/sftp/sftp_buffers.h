// The sizes of libcurl's buffers for SFTP. libcurl requests at most four download buffers in advance, and
// sends one upload buffer before it waits for the server. With its default sizes it therefore spends most of
// the time waiting when the server is distant.
#pragma once

#include <algorithm>

#include "transport/buffers.h"

namespace ftp_plugin {

inline constexpr long kSmallestDownloadBuffer = 8L * 1024;
inline constexpr long kLargestDownloadBuffer = 512L * 1024;
inline constexpr long kLargestUploadBuffer = 2L * 1024 * 1024;  ///< more libcurl does not take

/// How many buffers a range is divided into. libcurl goes on requesting behind the end of the range, so that
/// nearly three buffers arrive for nothing: smaller ones waste less, but cost round trips. Measured with
/// ranges of 64 KiB to 8 MiB: with 11 buffers at most 1.26 times the range arrives (1.35 times with 8, 1.7
/// times with 4), and it takes one round trip more than with 4.
inline constexpr long long kBuffersInARange = 11;

/// CURLOPT_BUFFERSIZE for a read of `range` bytes. `speed_limit` is in bytes per second, 0 or below is none.
/// Under a limit libcurl looks at the clock once in a hundred buffers, and then pauses for as long as these
/// should have taken. A hundred buffers therefore hold at most four seconds' worth: a pause of 20 s counts as
/// a server that has gone silent. With less than that a distant server would not be read as fast as the limit
/// allows.
[[nodiscard]] constexpr long download_buffer_size(long long range, long long speed_limit) noexcept {
  constexpr long long kBuffersASecond = 25;
  const auto size =
      std::clamp<long long>(range / kBuffersInARange, kSmallestDownloadBuffer, kLargestDownloadBuffer);
  if (speed_limit <= 0) return static_cast<long>(size);
  return static_cast<long>(std::clamp<long long>(speed_limit / kBuffersASecond, kLeastBuffer, size));
}

/// CURLOPT_UPLOAD_BUFFERSIZE. Whether the host wants to stop is looked at once in a buffer. Under a speed
/// limit a buffer therefore holds one second's worth (but no less than libcurl's own), not minutes' worth.
[[nodiscard]] constexpr long upload_buffer_size(long long speed_limit) noexcept {
  if (speed_limit <= 0) return kLargestUploadBuffer;
  return static_cast<long>(std::clamp<long long>(speed_limit, kDefaultUploadBuffer, kLargestUploadBuffer));
}

}  // namespace ftp_plugin
