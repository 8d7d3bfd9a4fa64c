// The private operations under the names that the class has for them; each is a function of a room below.
#include <utility>

#include "fileops/delete_entry.h"
#include "fileops/ftp_get_info.h"
#include "fileops/sftp_stat.h"
#include "listing/basic_line.h"
#include "listing/list_directory.h"
#include "listing/mlsd_line.h"
#include "listing/read_dir.h"
#include "listing/vxworks_line.h"
#include "protocol/protocol.h"

namespace ftp_plugin {

std::string Protocol::full_path(std::string base, const char* id) {
  return url_path(view().paths, std::move(base), id);
}

std::string Protocol::_encode(std::string name, bool convert) {
  return encode_name(view(), std::move(name), convert);
}

void Protocol::ftpparse_mlsd(const std::string& line, _FS_FILE_V2* record) { parse_mlsd_line(line, *record); }

bool Protocol::ftpparse_vxworks(const std::string& line, const char*, _FS_FILE_V2* record) {
  return parse_vxworks_line(line, *record);
}

bool Protocol::ftpparse_basic(const std::string& line, const char* path, _FS_FILE_V2* record) {
  const link_follower follow = follow_links();
  return parse_basic_line(line, {.path = path, .is_sftp = is_sftp(), .follow_link = &follow}, *record);
}

bool Protocol::is_vxworks_server(const char* first_line) { return ftp_plugin::is_vxworks_server(first_line); }

int Protocol::read_dir(const char* path, bool* is_mlsd, char** data, char**) {
  std::optional<raw_listing> listing = ftp_plugin::read_dir(view(), path);
  if (!listing) return FAILED;
  *is_mlsd = listing->is_mlsd;
  *data = listing->text.release();
  return SUCCESS;
}

AERROR Protocol::_GetFileList(const char* path, IFileList* list, char** message, const char* find_name,
                              _FS_FILE_V2* found) {
  if (message != nullptr) *message = nullptr;
  return list_directory(view(), path, {list, find_name, found, follow_links()});
}

AERROR Protocol::ftp_get_info(const char* path, _FS_FILE_V2* file, char**) {
  return ftp_plugin::ftp_get_info(view(), path, *file);
}

AERROR Protocol::GetFileInfoUsingGetFileList(const char* path, _FS_FILE_V2* file, char** message) {
  if (message != nullptr) *message = nullptr;
  return look_up_in_parent(view(), path, *file);
}

AERROR Protocol::sftp_stat(const char* path, _FS_FILE_V2* file, char**) {
  return ftp_plugin::sftp_stat(view(), path, *file);
}

AERROR Protocol::_Delete(const char* path, char** message, bool directory) {
  if (message != nullptr) *message = nullptr;
  return delete_entry(view(), path, directory);
}

link_follower Protocol::follow_links() {
  return [this](const std::string& full_path, _FS_FILE_V2& target) {
    (void)sftp_stat(full_path.c_str(), &target, nullptr);  // what leads nowhere leaves the record empty
  };
}

}  // namespace ftp_plugin
