// The object that the host drives: one per configured server, created by GetProtocol, ended by Release.
// The order of the 26 virtual operations is part of the boundary.
//
// Conventions for every operation
// - Paths and names are UTF-8. "/" is the root that the configured URL names.
// - `message` may be null; where it is not, it is set to null or to a text that the host gives to FreeMsg.
// - No operation throws. Strings that take a `buffer` are zero-terminated.
// - File operations (slots 6 to 17) of one object may run on several threads at once; SetOpt, Connect,
//   SetQuota, SetQuotaCallback and Release must not overlap with anything else on the same object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "error_codes.h"
#include "file_record.h"
#include "host_interfaces.h"
#include "transfer_handle.h"

/// Accepted by Upload and ignored: every upload stores the whole file.
enum UPLOAD_FLAG : std::int32_t { UPLOAD_FLAG_NONE = 0 };

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// The number in front of each operation is its slot; its contract stands above it.
// clang-format off

class IRefObject {
 public:
  /// Destroys the object at once; there is no reference count.
  /*  1 */ virtual void Release() = 0;

 protected:
  ~IRefObject() = default;
};

class IProtocol_V1 : public IRefObject {
 public:
  /// Copies the root's full URL if `*size` is greater than its length, else INSUFFICIENT_BUFFER.
  /*  2 */ virtual AERROR GetUserInfo(char* buffer, int* size) = 0;
  /// Total and free bytes; either pointer may be null.
  /*  3 */ virtual AERROR GetQuota(unsigned long long* total, unsigned long long* free) = 0;
  /// Stores what GetQuota tells from then on.
  /*  4 */ virtual AERROR SetQuota(unsigned long long total, unsigned long long free) = 0;
  /// Stores the address of the constant protocol list "ftp;ftps;ad_ftp".
  /*  5 */ virtual AERROR GetType(char** type) = 0;

  /// Delivers every entry of the directory `id`, "." and ".." included where the server lists them.
  /*  6 */ virtual AERROR GetFileList(const char* id, IFileList* list, char** message) = 0;
  /// Does nothing and succeeds: there is no change feed.
  /*  7 */ virtual AERROR GetChanges(IFileChanges* changes, char** message) = 0;
  /// Fills `file`; on FTP its `attr` chooses between file (size, time) and directory (listing).
  /*  8 */ virtual AERROR GetFileInfo(const char* id, _FS_FILE_V2* file, char** message) = 0;

  /// Renames `id` to `target` + "/" + `file->name` and reads `file` again. `target` is the directory that
  /// receives the entry: to rename in place, the directory that holds it.
  /*  9 */ virtual AERROR Rename(const char* id, const char* target, _FS_FILE_V2* file, char** message) = 0;
  /// The same under the name of a move; `file->attr` says whether the entry is a directory.
  /* 10 */ virtual AERROR Move(const char* id, const char* target, _FS_FILE_V2* file, char** message) = 0;
  /// Move for a directory.
  /* 11 */ virtual AERROR MoveDir(const char* id, const char* target, _FS_FILE_V2* file, char** message) = 0;
  /// Creates `id` + "/" + `file->name` and reads `file` again.
  /* 12 */ virtual AERROR CreateDirectory(const char* id, _FS_FILE_V2* file, char** message) = 0;
  /// Removes the file `id`.
  /* 13 */ virtual AERROR Delete(const char* id, char** message) = 0;
  /// Removes the directory `id`, which must be empty.
  /* 14 */ virtual AERROR DeleteDirectory(const char* id, char** message) = 0;

  /// Delivers `length` bytes from `offset` on, in blocks of 65,536 bytes and a shorter last one.
  /* 15 */ virtual AERROR Read(const char* id, long long offset, long long length,
                               std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback,
                               char** message) = 0;
  /// Stores `file->size` bytes from `source` as `id` + "/" + `file->name` and reads `file` again.
  /* 16 */ virtual AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* source,
                                 _FS_FILE_V2* file, UPLOAD_FLAG flags, char** message) = 0;
  /// Sets the modification time of `id`, time texts as in the record; NOT_SUPPORTED where the server cannot.
  /// On success `file` gets `access_time` and `modify_time`; `create_time` is not used.
  /* 17 */ virtual AERROR SetFileTime(const char* id, std::string create_time, std::string access_time,
                                      std::string modify_time, _FS_FILE_V2* file, char** message) = 0;

  /// "speedlimit": bytes per second; "option_fields": the filled-in option document.
  /* 18 */ virtual AERROR SetOpt(const char* name, const char* value) = 0;
  /// Hands the manager's own value back to it, see IProtocolManager::PostValue; the arguments are ignored.
  /* 19 */ virtual AERROR GetCredential(char* buffer, int* size) = 0;
  /// How times on this server are to be treated, a bit mask.
  /* 20 */ virtual int GetFeature() = 0;
  /// Stores whom GetQuota asks, called with `context`; null for nobody.
  /* 21 */ virtual void SetQuotaCallback(void* context, QUOTA_CALLBACK callback) = 0;
  /// Frees the text of a `message`; null is ignored.
  /* 22 */ virtual void FreeMsg(char* message) = 0;

 protected:
  ~IProtocol_V1() = default;
};

class IProtocol_V2 : public IProtocol_V1 {
 public:
  /// Logs in with the filled-in login document. `auth` is ignored.
  /* 23 */ virtual AERROR Connect(IProtocolAuth* auth, const char* fields) = 0;
  /// Succeeds and writes nothing.
  /* 24 */ virtual AERROR GetIdentifier(char* buffer, int* size) = 0;
  /// The root's identifier, the empty text; `*size` becomes 0. ACCESS_DENIED when `size` is null.
  /* 25 */ virtual AERROR GetRootID(char* buffer, int* size) = 0;
  /// Ignores its argument and succeeds.
  /* 26 */ virtual AERROR AddAuth(std::shared_ptr<IAuth> auth) = 0;

 protected:
  ~IProtocol_V2() = default;
};

// clang-format on

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
