#include "plugin/log.h"
#include "protocol/protocol.h"

namespace ftp_plugin {

AERROR Protocol::sftp_stat(const char* path, _FS_FILE_V2*, char**) {
  log_operation("sftp_stat", path);
  return FAILED;
}

}  // namespace ftp_plugin
