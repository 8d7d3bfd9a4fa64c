// What an SFTP server tells about one path, and the way such a record reaches a request's user.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ftp_plugin {

/// Fields in the order and width of libssh2's record. `flags` tells which of the others the server sent
/// (kSftpHas...); the others are 0 then.
struct sftp_attributes {
  std::uint64_t flags;
  std::uint64_t filesize;  ///< bytes
  std::uint64_t uid;
  std::uint64_t gid;
  std::uint64_t permissions;  ///< POSIX mode, kind of file included
  std::uint64_t atime;        ///< seconds since 1970-01-01T00:00:00Z
  std::uint64_t mtime;        ///< likewise
};
static_assert(sizeof(sftp_attributes) == 7 * sizeof(std::uint64_t));

inline constexpr std::uint64_t kSftpHasSize = 0x1;
inline constexpr std::uint64_t kSftpHasOwner = 0x2;
inline constexpr std::uint64_t kSftpHasPermissions = 0x4;
inline constexpr std::uint64_t kSftpHasTimes = 0x8;

inline constexpr std::uint64_t kSftpKindMask = 0170000;  ///< the bits of `permissions` that tell the kind
inline constexpr std::uint64_t kSftpDirectory = 0040000;
inline constexpr std::uint64_t kSftpRegular = 0100000;
inline constexpr std::uint64_t kSftpLink = 0120000;

/// libcurl write callback. Copies the sftp_attributes at `data` into the sftp_attributes at `userdata` and
/// returns `nmemb`. Copies nothing when `userdata` is null or `size * nmemb` bytes are no whole record.
std::size_t write_attrs(void* data, std::size_t size, std::size_t nmemb, void* userdata) noexcept;

}  // namespace ftp_plugin
