// How large libcurl's buffers are to be for SFTP. libcurl keeps four download buffers, or one upload buffer,
// on the road at a time, so with its own defaults a distant server is read and written at a fraction of what
// the line carries.
#pragma once

#include <algorithm>

namespace ftp_plugin {

inline constexpr long kSmallestDownloadBuffer = 16L * 1024;
inline constexpr long kLargestDownloadBuffer = 512L * 1024;
/// CURLOPT_UPLOAD_BUFFERSIZE; the largest that libcurl takes.
inline constexpr long kSftpUploadBuffer = 2L * 1024 * 1024;

/// CURLOPT_BUFFERSIZE for a read of `range` bytes: the greatest power of two that is at most a quarter of the
/// range, so more than an eighth, within 16 KiB and 512 KiB. libcurl asks for four buffers whatever the range
/// is, so a buffer larger than a quarter of it would be received in vain.
[[nodiscard]] constexpr long download_buffer_size(long long range) noexcept {
  long size = kSmallestDownloadBuffer;
  while (size < kLargestDownloadBuffer && 2LL * size <= range / 4) size *= 2;
  return size;
}

}  // namespace ftp_plugin
