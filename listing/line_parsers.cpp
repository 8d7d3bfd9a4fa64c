#include "listing/basic_line.h"
#include "listing/mlsd_line.h"
#include "listing/vxworks_line.h"
#include "protocol/protocol.h"

namespace ftp_plugin {

void Protocol::ftpparse_mlsd(const std::string& line, _FS_FILE_V2* record) { parse_mlsd_line(line, *record); }

bool Protocol::ftpparse_vxworks(const std::string& line, const char*, _FS_FILE_V2* record) {
  return parse_vxworks_line(line, *record);
}

bool Protocol::ftpparse_basic(const std::string& line, const char* path, _FS_FILE_V2* record) {
  const auto follow = link_follower();
  return parse_basic_line(line, {.path = path, .is_sftp = is_sftp(), .follow_link = &follow}, *record);
}

std::function<void(const std::string&, _FS_FILE_V2&)> Protocol::link_follower() {
  return [this](const std::string& full_path, _FS_FILE_V2& target) {
    sftp_stat(full_path.c_str(), &target, nullptr);
  };
}

bool Protocol::is_vxworks_server(const char* first_line) { return ftp_plugin::is_vxworks_server(first_line); }

}  // namespace ftp_plugin
