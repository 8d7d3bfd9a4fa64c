#include "listing/list_directory.h"

#include <optional>
#include <string>

#include "boundary/log.h"
#include "listing/delivery.h"
#include "listing/read_dir.h"

namespace ftp_plugin {
namespace {

/// What stands before the last "/" of `path`; empty when there is none.
std::string parent_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string{} : path.substr(0, slash);
}

/// What stands behind the last "/" of `id`; all of it when there is none.
std::string name_of(const std::string& id) {
  const std::size_t slash = id.rfind('/');
  return slash == std::string::npos ? id : id.substr(slash + 1);
}

}  // namespace

AERROR list_directory(const server_view& server, const char* path, const listing_receiver& receiver) {
  log_operation("_GetFileList", path);
  const std::optional<raw_listing> listing = read_dir(server, path);
  if (!listing) return FAILED;
  deliver_listing(listing->text.get(), {.path = path,
                                        .is_mlsd = listing->is_mlsd,
                                        .is_sftp = server.is_sftp,
                                        .names_are_utf8 = server.names_are_utf8,
                                        .server_charset = server.server_charset,
                                        .vxworks_server = server.vxworks_server,
                                        .list = receiver.list,
                                        .find_name = receiver.find_name,
                                        .found = receiver.found,
                                        .follow_link = receiver.follow_link});
  return SUCCESS;
}

AERROR look_up_in_parent(const server_view& server, const char* path, _FS_FILE_V2& file) {
  log_operation("GetFileInfoUsingGetFileList", path);
  const std::string parent = parent_of(text_or_empty(path));
  const std::string name = name_of(file.id);
  return list_directory(server, parent.c_str(), {.find_name = name.c_str(), .found = &file});
}

}  // namespace ftp_plugin
