// The sizes of libcurl's buffers: its own, and the smallest one that it takes.
#pragma once

namespace ftp_plugin {

/// The sizes of a handle that was given no others.
inline constexpr long kDefaultDownloadBuffer = 16L * 1024;
inline constexpr long kDefaultUploadBuffer = 64L * 1024;

inline constexpr long kLeastBuffer = 1024;  ///< libcurl raises a smaller one to this

}  // namespace ftp_plugin
