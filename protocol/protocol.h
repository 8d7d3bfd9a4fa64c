// The object that the host holds for one configured server.
//
// This class is a table of contents: the operations in the order of the boundary, the members, then the
// private operations under the file that defines them. File operations may run on several threads at once;
// they share the pool and read the settings. SetOpt, Connect and the setters must not overlap with anything.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "boundary/abi/protocol_interfaces.h"
#include "transport/pool/pool.h"
#include "transport/settings.h"

namespace ftp_plugin {

class Protocol : public IProtocol_V2 {
 public:
  /// `name` must not be null; `manager` may be.
  Protocol(const char* name, IProtocolManager* manager);

  void Release() override;                                                        //  1  protocol/protocol.cpp
  AERROR GetUserInfo(char* buffer, int* size) override;                           //  2  protocol/protocol.cpp
  AERROR GetQuota(unsigned long long* total, unsigned long long* free) override;  //  3  protocol/protocol.cpp
  AERROR SetQuota(unsigned long long total, unsigned long long free) override;    //  4  protocol/protocol.cpp
  AERROR GetType(char** type) override;                                           //  5  protocol/protocol.cpp
  AERROR GetFileList(const char* id, IFileList* list,
                     char** message) override;                        //  6  listing/list_directory.cpp
  AERROR GetChanges(IFileChanges* changes, char** message) override;  //  7  listing/list_directory.cpp
  AERROR GetFileInfo(const char* id, _FS_FILE_V2* file,
                     char** message) override;  //  8 fileops/ftp_get_info.cpp
  AERROR Rename(const char* id, const char* name, _FS_FILE_V2* file,
                char** message) override;  //  9  fileops/move_entry.cpp
  AERROR Move(const char* id, const char* target, _FS_FILE_V2* file,
              char** message) override;  // 10  fileops/move_entry.cpp
  AERROR MoveDir(const char* id, const char* target, _FS_FILE_V2* file,
                 char** message) override;  // 11  fileops/move_entry.cpp
  AERROR CreateDirectory(const char* id, _FS_FILE_V2* file,
                         char** message) override;                  // 12  fileops/create_directory.cpp
  AERROR Delete(const char* id, char** message) override;           // 13  fileops/create_directory.cpp
  AERROR DeleteDirectory(const char* id, char** message) override;  // 14  fileops/create_directory.cpp
  AERROR Read(const char* id, long long offset, long long length, std::shared_ptr<_FS_HANDLE> handle,
              IFetchCallback* callback, char** message) override;  // 15  fileops/read.cpp
  AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* source, _FS_FILE_V2* file,
                UPLOAD_FLAG flags, char** message) override;  // 16  fileops/upload.cpp
  AERROR SetFileTime(const char* id, std::string first, std::string second, std::string third,
                     _FS_FILE_V2* file, char** message) override;          // 17  fileops/set_file_time.cpp
  AERROR SetOpt(const char* name, const char* value) override;             // 18  protocol/options.cpp
  AERROR GetCredential(char* buffer, int* size) override;                  // 19  protocol/protocol.cpp
  int GetFeature() override;                                               // 20  protocol/server_features.cpp
  void SetQuotaCallback(void* context, QUOTA_CALLBACK callback) override;  // 21  protocol/protocol.cpp
  void FreeMsg(char* message) override;                                    // 22  protocol/protocol.cpp
  AERROR Connect(IProtocolAuth* auth, const char* fields) override;        // 23  protocol/login.cpp
  AERROR GetIdentifier(char* buffer, int* size) override;                  // 24  protocol/protocol.cpp
  AERROR GetRootID(char* buffer, int* size) override;                      // 25  protocol/protocol.cpp
  AERROR AddAuth(std::shared_ptr<IAuth> auth) override;                    // 26  protocol/protocol.cpp

  // What the exported functions of the same names forward to.
  static int GetAuthType();
  static AERROR GetAuthFields(char* buffer, int* size);
  static AERROR GetOptFields(char* buffer, int* size);

  friend int do_print(unsigned int count, const char* const* names, void* data);

 protected:
  ~Protocol() = default;  // only through Release

 private:
  std::string protocol_name;                           // what the host asked for; kept, never consulted
  unsigned long long quota_total = 10995116277760ULL;  // 10 TiB
  unsigned long long quota_free = 0;
  std::int64_t speed_limit = 0;  // bytes per second, 0 is unlimited
  std::string reserved_text;     // unused
  settings_map options;
  std::shared_ptr<pool> connections;  // null until Connect
  QUOTA_CALLBACK quota_callback = nullptr;
  void* quota_context = nullptr;
  std::atomic<bool> vxworks_server{false};  // only ever moves to true
  std::deque<std::string> charset_names;    // filled at construction, not consulted afterwards
  std::string server_charset;               // stays empty: the encoding of the current locale
  IProtocolManager* manager;                // may be null
  std::string manager_value;                // what the manager answered at construction
  std::int32_t file_time_mode = 0;          // 1: MFMT sets times

  /// The pool of the last Connect. Throws std::logic_error before the first one, so that an operation that
  /// comes too early fails like any other.
  [[nodiscard]] const std::shared_ptr<pool>& connected_pool() const {
    if (connections == nullptr) throw std::logic_error{"no login yet"};
    return connections;
  }

  /// Whether the server speaks SFTP; else FTP or FTPS.
  [[nodiscard]] bool is_sftp() const { return setting_is(options, key::type, "sftp"); }

  // protocol/options.cpp
  /// Writes "url", "ssl", "type" and "root_path" from a server URL.
  void parseURL(std::string url);

  // protocol/login.cpp
  /// Stores the entries of the filled-in login document.
  void store_login_fields(const char* fields);
  /// Replaces the pool by one made of the present settings and logs in.
  AERROR log_in(const char* log_format);

  // protocol/server_features.cpp
  /// Asks the server for its features. Returns the new file_time_mode: 1 when it can set times, else 0.
  int SetFileTimeSupportMode();

  // protocol/forwards.cpp
  /// `base`, the root path and `id` (null is empty) as one path, relative to the login directory on FTP.
  [[nodiscard]] std::string full_path(std::string base, const char* id) const;
  /// URL of `id` on this connection; only the part behind the server's URL is percent-encoded.
  [[nodiscard]] std::string request_url(connection& con, const char* id) const;

  // protocol/charset_names.cpp
  /// `name` in the server's character set; unchanged on SFTP, without `convert`, or where it cannot be
  /// converted.
  [[nodiscard]] std::string _encode(std::string name, bool convert) const;

  // listing/line_parsers.cpp
  void ftpparse_mlsd(const std::string& line, _FS_FILE_V2* record);
  bool ftpparse_vxworks(const std::string& line, const char* path_text, _FS_FILE_V2* record);
  bool ftpparse_basic(const std::string& line, const char* path, _FS_FILE_V2* record);
  bool is_vxworks_server(const char* first_line);
  /// Fills a record with what a link of an SFTP listing points to.
  [[nodiscard]] std::function<void(const std::string& full_path, _FS_FILE_V2& target)> link_follower();

  // listing/read_dir.cpp
  /// Reads the raw listing of one directory. Returns 0 or 1. `*data` stays null for an empty listing, else it
  /// is zero-terminated text that the caller frees with free(). `reserved` is not used.
  int read_dir(const char* path, bool* is_mlsd, char** data, char** reserved);

  // listing/list_directory.cpp
  /// Lists `path`: delivers each entry to `list` (may be null) and copies the entry named `find_name` (may be
  /// null) into `found`. A name that is not there leaves `found` as it was.
  AERROR _GetFileList(const char* path, IFileList* list, char** message, const char* find_name,
                      _FS_FILE_V2* found);

  // fileops/ftp_get_info.cpp
  AERROR ftp_get_info(const char* path, _FS_FILE_V2* file, char** message);
  AERROR GetFileInfoUsingGetFileList(const char* path, _FS_FILE_V2* file, char** message);

  // fileops/sftp_stat.cpp
  AERROR sftp_stat(const char* path, _FS_FILE_V2* file, char** message);

  // fileops/create_directory.cpp
  AERROR _Delete(const char* path, char** message, bool directory);
};

/// iconv's encoding-list callback: appends `count` names to the Protocol behind `data`. Always 0.
int do_print(unsigned int count, const char* const* names, void* data);

}  // namespace ftp_plugin
