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

class IRefObject {
 public:
  /// Destroys the object at once; there is no reference count.                                  slot 1
  virtual void Release() = 0;

 protected:
  ~IRefObject() = default;
};

class IProtocol_V1 : public IRefObject {
 public:
  /// Copies the root's full URL if `*size` is greater than its length, else INSUFFICIENT_BUFFER.  slot 2
  virtual AERROR GetUserInfo(char* buffer, int* size) = 0;
  /// Total and free bytes; either pointer may be null.                                           slot 3
  virtual AERROR GetQuota(unsigned long long* total, unsigned long long* free) = 0;
  virtual AERROR SetQuota(unsigned long long total, unsigned long long free) = 0;  //             slot 4
  /// Stores the address of the constant protocol list "ftp;ftps;ad_ftp".                         slot 5
  virtual AERROR GetType(char** type) = 0;
  /// Delivers every entry of the directory `id`, "." and ".." included where the server lists them.
  virtual AERROR GetFileList(const char* id, IFileList* list, char** message) = 0;  //            slot 6
  /// Does nothing and succeeds: there is no change feed.                                         slot 7
  virtual AERROR GetChanges(IFileChanges* changes, char** message) = 0;
  /// Fills `file`; on FTP its `attr` chooses between file (size, time) and directory (listing).  slot 8
  virtual AERROR GetFileInfo(const char* id, _FS_FILE_V2* file, char** message) = 0;
  /// Renames `id` to `name` + "/" + `file->name`; `name` is the parent directory.                slot 9
  virtual AERROR Rename(const char* id, const char* name, _FS_FILE_V2* file, char** message) = 0;
  /// Moves `id` to `target` + "/" + `file->name`.                                                slot 10
  virtual AERROR Move(const char* id, const char* target, _FS_FILE_V2* file, char** message) = 0;
  /// Move for a directory.                                                                       slot 11
  virtual AERROR MoveDir(const char* id, const char* target, _FS_FILE_V2* file, char** message) = 0;
  /// Creates `id` + "/" + `file->name`.                                                          slot 12
  virtual AERROR CreateDirectory(const char* id, _FS_FILE_V2* file, char** message) = 0;
  virtual AERROR Delete(const char* id, char** message) = 0;           //                         slot 13
  virtual AERROR DeleteDirectory(const char* id, char** message) = 0;  //                         slot 14
  /// Delivers `length` bytes from `offset` on, in blocks of 65,536 bytes and a shorter last one. slot 15
  virtual AERROR Read(const char* id, long long offset, long long length, std::shared_ptr<_FS_HANDLE> handle,
                      IFetchCallback* callback, char** message) = 0;
  /// Stores `file->size` bytes from `source` as `id` + "/" + `file->name`, then re-reads `file`. slot 16
  virtual AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* source,
                        _FS_FILE_V2* file, UPLOAD_FLAG flags, char** message) = 0;
  /// Sets the modification time `third`; NOT_SUPPORTED where the server cannot.                  slot 17
  virtual AERROR SetFileTime(const char* id, std::string first, std::string second, std::string third,
                             _FS_FILE_V2* file, char** message) = 0;
  /// "speedlimit": bytes per second; "option_fields": the filled-in option document.             slot 18
  virtual AERROR SetOpt(const char* name, const char* value) = 0;
  virtual AERROR GetCredential(char* buffer, int* size) = 0;  //                                  slot 19
  /// How times on this server are to be treated, a bit mask.                                     slot 20
  virtual int GetFeature() = 0;
  virtual void SetQuotaCallback(void* context, QUOTA_CALLBACK callback) = 0;  //                  slot 21
  virtual void FreeMsg(char* message) = 0;                                    //                  slot 22

 protected:
  ~IProtocol_V1() = default;
};

class IProtocol_V2 : public IProtocol_V1 {
 public:
  /// Logs in with the filled-in login document.                                                  slot 23
  virtual AERROR Connect(IProtocolAuth* auth, const char* fields) = 0;
  virtual AERROR GetIdentifier(char* buffer, int* size) = 0;  //                                  slot 24
  /// The root's identifier, the empty text.                                                      slot 25
  virtual AERROR GetRootID(char* buffer, int* size) = 0;
  virtual AERROR AddAuth(std::shared_ptr<IAuth> auth) = 0;  //                                    slot 26

 protected:
  ~IProtocol_V2() = default;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
