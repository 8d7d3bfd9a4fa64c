// The object that the host holds for one configured server.
//
// This class is a table of contents: the operations in the order of the boundary, each with the file that
// does its work; the members; then the private operations under the file that defines them. What asks the
// server for something is a function of fileops/ or listing/ over a view of the server; slots.cpp calls it.
// File operations may run on several threads at once; they share the pool and read the settings. SetOpt,
// Connect and the setters must not overlap with anything.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "boundary/abi/protocol_interfaces.h"
#include "fileops/changed_entry.h"
#include "listing/basic_line.h"
#include "transport/pool/pool.h"
#include "transport/pool/server_view.h"
#include "transport/server_settings.h"
#include "transport/settings.h"

namespace ftp_plugin {

class Protocol : public IProtocol_V2 {
 public:
  /// `name` must not be null; `host_manager` may be.
  Protocol(const char* name, IProtocolManager* host_manager);

  // clang-format off
  /*  1  protocol/protocol.cpp        */ void Release() override;
  /*  2  protocol/protocol.cpp        */ AERROR GetUserInfo(char* buffer, int* size) override;
  /*  3  protocol/protocol.cpp        */ AERROR GetQuota(unsigned long long* total, unsigned long long* free) override;
  /*  4  protocol/protocol.cpp        */ AERROR SetQuota(unsigned long long total, unsigned long long free) override;
  /*  5  protocol/protocol.cpp        */ AERROR GetType(char** type) override;
  /*  6  listing/list_directory.h     */ AERROR GetFileList(const char* id, IFileList* list, char** message) override;
  /*  7  protocol/slots.cpp           */ AERROR GetChanges(IFileChanges* changes, char** message) override;
  /*  8  fileops/ftp_get_info.h       */ AERROR GetFileInfo(const char* id, _FS_FILE_V2* file, char** message) override;
  /*  9  fileops/move_entry.h         */ AERROR Rename(const char* id, const char* target, _FS_FILE_V2* file, char** message) override;
  /* 10  fileops/move_entry.h         */ AERROR Move(const char* id, const char* target, _FS_FILE_V2* file, char** message) override;
  /* 11  fileops/move_entry.h         */ AERROR MoveDir(const char* id, const char* target, _FS_FILE_V2* file, char** message) override;
  /* 12  fileops/create_directory.h   */ AERROR CreateDirectory(const char* id, _FS_FILE_V2* file, char** message) override;
  /* 13  fileops/delete_entry.h       */ AERROR Delete(const char* id, char** message) override;
  /* 14  fileops/delete_entry.h       */ AERROR DeleteDirectory(const char* id, char** message) override;
  /* 15  fileops/read_range.h         */ AERROR Read(const char* id, long long offset, long long length, std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback, char** message) override;
  /* 16  fileops/upload.h             */ AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* source, _FS_FILE_V2* file, UPLOAD_FLAG flags, char** message) override;
  /* 17  fileops/set_file_time.h      */ AERROR SetFileTime(const char* id, std::string create_time, std::string access_time, std::string modify_time, _FS_FILE_V2* file, char** message) override;
  /* 18  protocol/options.cpp         */ AERROR SetOpt(const char* name, const char* value) override;
  /* 19  protocol/protocol.cpp        */ AERROR GetCredential(char* buffer, int* size) override;
  /* 20  protocol/server_features.cpp */ int GetFeature() override;
  /* 21  protocol/protocol.cpp        */ void SetQuotaCallback(void* context, QUOTA_CALLBACK callback) override;
  /* 22  protocol/protocol.cpp        */ void FreeMsg(char* message) override;
  /* 23  protocol/login.cpp           */ AERROR Connect(IProtocolAuth* auth, const char* fields) override;
  /* 24  protocol/protocol.cpp        */ AERROR GetIdentifier(char* buffer, int* size) override;
  /* 25  protocol/protocol.cpp        */ AERROR GetRootID(char* buffer, int* size) override;
  /* 26  protocol/protocol.cpp        */ AERROR AddAuth(std::shared_ptr<IAuth> auth) override;
  // clang-format on

  // What the exported functions of the same names forward to.
  [[nodiscard]] static int GetAuthType();
  [[nodiscard]] static AERROR GetAuthFields(char* buffer, int* size);
  [[nodiscard]] static AERROR GetOptFields(char* buffer, int* size);

  friend int do_print(unsigned int count, const char* const* names, void* data);
  friend struct private_operations;  // lets a test call those that no slot calls

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
  std::string manager_value;                // what the manager returned at construction
  std::int32_t file_time_mode = 0;          // 1: MFMT sets times

  /// Whether the server speaks SFTP; else FTP or FTPS.
  [[nodiscard]] bool is_sftp() const { return kind_of(options) == server_kind::kSftp; }
  /// Whether SFTP paths start at the user's home directory instead of the server's root.
  [[nodiscard]] bool starts_at_home() const { return is_sftp() && is_false(options, key::sftp_root); }

  // protocol/protocol.cpp
  /// What an operation may know of this object; valid while the object is, until SetOpt or Connect.
  [[nodiscard]] server_view view();

  // protocol/options.cpp
  /// Writes "url", "ssl", "type" and "root_path" from a server URL.
  void parseURL(std::string url);

  // protocol/login.cpp
  /// Stores the entries of the filled-in login document.
  void store_login_fields(const char* fields);
  /// Replaces the pool by one made of the present settings and logs in.
  [[nodiscard]] AERROR log_in(const char* log_format);

  // protocol/server_features.cpp
  /// Asks the server for its features. Returns the new file_time_mode: 1 when it can set times, else 0.
  [[nodiscard]] int SetFileTimeSupportMode();

  // protocol/slots.cpp
  /// Has an entry that was made or moved read again into `file`, marked as `attr`. Returns the result of
  /// that, or what `changed` reports when nothing was changed.
  [[nodiscard]] AERROR read_again(const changed_entry& changed, std::uint32_t attr, _FS_FILE_V2& file);

  // protocol/forwards.cpp
  /// url_path with the rules of this server; command_path where `base` is empty.
  [[nodiscard]] std::string full_path(std::string base, const char* id);
  [[nodiscard]] std::string _encode(std::string name, bool convert);  ///< encode_name
  void ftpparse_mlsd(const std::string& line, _FS_FILE_V2* record);
  [[nodiscard]] bool ftpparse_vxworks(const std::string& line, const char* path_text, _FS_FILE_V2* record);
  [[nodiscard]] bool ftpparse_basic(const std::string& line, const char* path, _FS_FILE_V2* record);
  [[nodiscard]] bool is_vxworks_server(const char* first_line);
  /// Returns 0 or 1. `*data` stays as it is for an empty listing, else it is zero-terminated text that the
  /// caller frees with free(). `reserved` is not used.
  [[nodiscard]] int read_dir(const char* path, bool* is_mlsd, char** data, char** reserved);
  [[nodiscard]] AERROR _GetFileList(const char* path, IFileList* list, char** message, const char* find_name,
                                    _FS_FILE_V2* found);
  [[nodiscard]] AERROR ftp_get_info(const char* path, _FS_FILE_V2* file, char** message);
  [[nodiscard]] AERROR GetFileInfoUsingGetFileList(const char* path, _FS_FILE_V2* file, char** message);
  [[nodiscard]] AERROR sftp_stat(const char* path, _FS_FILE_V2* file, char** message);
  [[nodiscard]] AERROR _Delete(const char* path, char** message, bool directory);
  /// Asks sftp_stat what a link of an SFTP listing leads to.
  [[nodiscard]] link_follower follow_links();
};

/// iconv's encoding-list callback: appends `count` names to the Protocol behind `data`. Always 0.
int do_print(unsigned int count, const char* const* names, void* data);

}  // namespace ftp_plugin
