// What the host implements and the plug-in calls, or only passes on. The order of the virtual operations is
// part of the boundary; a host interface may have further operations behind the ones listed. No interface
// has a virtual destructor: the plug-in never destroys a host object. Implementations must not throw.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "file_record.h"
#include "transfer_handle.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// Severity of a log line.
enum LOGLEVEL : int {
  LOGLEVEL_INFO = 1,   ///< one line per operation, commands and replies, throughput
  LOGLEVEL_DEBUG = 2,  ///< the transport's informational text
  LOGLEVEL_ERROR = 8,  ///< a failed command or transfer
};

/// The host's logger, bound with BindLogger. Called from every thread that runs an operation, also from
/// several at once.
class ILog {
 public:
  virtual void Reserved() = 0;  ///< slot 1: never called
  /// Lowest bit set: requests of the request object are to be traced.
  virtual int IsTracing() = 0;
  /// Formats and writes one line, printf style. `arguments` is valid during the call only.
  virtual void Write(LOGLEVEL level, const char* format, va_list arguments) = 0;

 protected:
  ~ILog() = default;
};

/// The host object that creates protocols.
class IProtocolManager {
 public:
  /// Writes the value of `key` into `buffer` as zero-terminated text. `size` holds the capacity.
  virtual int QueryValue(const char* key, char* buffer, int* size) = 0;
  /// Receives a notice: the value that QueryValue gave, "pid", and the value again.
  virtual int PostValue(const char* value, const char* what, const char* same_value) = 0;

 protected:
  ~IProtocolManager() = default;
};

/// Receives the entries of one directory listing.
class IFileList {
 public:
  /// `file` is valid during the call only; copy what is to be kept. The result is ignored.
  virtual int AddFile(_FS_FILE_V2* file) = 0;

 protected:
  ~IFileList() = default;
};

/// Receives the bytes of one ranged download.
class IFetchCallback {
 public:
  /// `length` bytes of the file from `offset` on; `data` is valid during the call only. `reserved` is 0.
  /// The result is ignored.
  virtual int Deliver(long long offset, const char* data, long long length, long long reserved) = 0;

 protected:
  ~IFetchCallback() = default;
};

/// One question to the cache that an upload reads from.
struct CACHE_READ_REQUEST {
  void* buffer = nullptr;              ///< where the host puts the bytes
  std::int64_t offset = 0;             ///< file offset of the first byte wanted
  std::uint64_t length = 0;            ///< bytes wanted
  std::uint64_t done = 0;              ///< written by the host: bytes put into `buffer`; 0 ends the file
  std::shared_ptr<_FS_HANDLE> handle;  ///< the transfer's handle
  std::uint64_t file_size = 0;         ///< size of the whole file being uploaded
  std::uint64_t reserved[2] = {0, 0};
};

/// The byte source of an upload.
class ICacheIO {
 public:
  /// Fills `request->buffer` and `request->done`. The result is ignored.
  virtual int ReadBlock(CACHE_READ_REQUEST* request) = 0;

 protected:
  ~ICacheIO() = default;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

// Received and never called.
class IProtocolAuth;
class IAuth;
class IFileChanges;

/// Tells the quota of `protocol` (the object that asks): writes both byte counts and returns true. With false
/// the counts of the last time stay.
using QUOTA_CALLBACK = bool (*)(void* context, void* protocol, long long* total, long long* used);

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
static_assert(offsetof(CACHE_READ_REQUEST, buffer) == 0);
static_assert(offsetof(CACHE_READ_REQUEST, offset) == 8);
static_assert(offsetof(CACHE_READ_REQUEST, length) == 16);
static_assert(offsetof(CACHE_READ_REQUEST, done) == 24);
static_assert(offsetof(CACHE_READ_REQUEST, handle) == 32);
static_assert(offsetof(CACHE_READ_REQUEST, file_size) == 48);
static_assert(offsetof(CACHE_READ_REQUEST, reserved) == 56);
static_assert(sizeof(CACHE_READ_REQUEST) == 72);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
