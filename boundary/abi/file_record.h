// The record of one remote file or directory. Order and widths of its fields are part of the boundary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

inline constexpr std::uint32_t FS_ATTR_FILE = 1;
inline constexpr std::uint32_t FS_ATTR_DIRECTORY = 2;

/// One remote entry. A record handed to IFileList::AddFile belongs to the plug-in and lives only during that
/// call; a record passed in by the host is the host's. The time texts are UTC, YYYY-MM-DDThh:mm:ss.000Z.
struct _FS_FILE_V2 {
  std::string id;                     ///< remote path as the host addresses it
  std::uint32_t attr = 0;             ///< FS_ATTR_FILE or FS_ATTR_DIRECTORY
  std::int64_t size = 0;              ///< bytes; set for files only
  std::string create_time;            ///< time text
  std::string access_time;            ///< time text
  std::string modify_time;            ///< time text
  std::string name;                   ///< last path component, UTF-8
  std::shared_ptr<void> host_ref;     ///< the host's; never set by the plug-in
  std::deque<std::string> host_list;  ///< the host's; never filled by the plug-in
};

// Host and plug-in are built separately and pass these objects by address: both must use the same 64-bit C++
// library ABI.
static_assert(sizeof(void*) == 8);
static_assert(sizeof(std::string) == 32);
static_assert(sizeof(std::shared_ptr<void>) == 16);
static_assert(sizeof(std::deque<std::string>) == 80);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"  // conditionally supported; g++ and clang++ support it
#endif
static_assert(offsetof(_FS_FILE_V2, id) == 0);
static_assert(offsetof(_FS_FILE_V2, attr) == 32);
static_assert(offsetof(_FS_FILE_V2, size) == 40);
static_assert(offsetof(_FS_FILE_V2, create_time) == 48);
static_assert(offsetof(_FS_FILE_V2, access_time) == 80);
static_assert(offsetof(_FS_FILE_V2, modify_time) == 112);
static_assert(offsetof(_FS_FILE_V2, name) == 144);
static_assert(offsetof(_FS_FILE_V2, host_ref) == 176);
static_assert(offsetof(_FS_FILE_V2, host_list) == 192);
static_assert(sizeof(_FS_FILE_V2) == 272);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
