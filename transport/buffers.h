// What libcurl's buffers are where nobody asked for anything else, and their least size.
#pragma once

namespace ftp_plugin {

/// What a handle has that nobody asked for anything else.
inline constexpr long kDefaultDownloadBuffer = 16L * 1024;
inline constexpr long kDefaultUploadBuffer = 64L * 1024;

inline constexpr long kLeastBuffer = 1024;  ///< less libcurl does not take

}  // namespace ftp_plugin
