#include <cstdlib>
#include <memory>
#include <string>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "listing/delivery.h"
#include "protocol/protocol.h"

namespace ftp_plugin {
namespace {

struct text_free {
  void operator()(char* text) const noexcept { std::free(text); }
};

}  // namespace

AERROR Protocol::GetFileList(const char* path, IFileList* list, char** message) {
  return no_throw(FAILED, [&] { return _GetFileList(path, list, message, nullptr, nullptr); });
}

AERROR Protocol::GetChanges(IFileChanges*, char**) { return SUCCESS; }

AERROR Protocol::_GetFileList(const char* path, IFileList* list, char** message, const char* find_name,
                              _FS_FILE_V2* found) {
  log_operation("_GetFileList", path);
  if (message != nullptr) *message = nullptr;
  bool is_mlsd = false;
  char* data = nullptr;
  if (read_dir(path, &is_mlsd, &data, nullptr) != 0) return FAILED;
  const std::unique_ptr<char, text_free> listing{data};
  if (listing == nullptr || (list == nullptr && find_name == nullptr)) return SUCCESS;
  deliver_listing(listing.get(), {.path = path,
                                  .is_mlsd = is_mlsd,
                                  .is_sftp = is_sftp(),
                                  .names_are_utf8 = connected_pool()->utf8(),
                                  .server_charset = server_charset,
                                  .vxworks_server = vxworks_server,
                                  .list = list,
                                  .find_name = find_name,
                                  .found = found,
                                  .follow_link = link_follower()});
  return SUCCESS;
}

}  // namespace ftp_plugin
