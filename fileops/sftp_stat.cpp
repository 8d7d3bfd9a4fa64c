#include "fileops/sftp_stat.h"

#include <cstdint>
#include <string>

#include "boundary/log.h"
#include "common/time_text.h"
#include "transport/pool/lease.h"
#include "transport/retry.h"
#include "transport/sftp/sftp_attributes.h"

namespace ftp_plugin {
namespace {

// Kept on purpose: a socket or block device, whose mode shares this bit, counts as a directory. Pinned by
// SftpFiles.ASocketCountsAsADirectory.
constexpr std::uint64_t kDirectoryBit = 0x4000;

void store(const sftp_attributes& attributes, _FS_FILE_V2& file) {
  const bool directory = (attributes.permissions & kDirectoryBit) != 0;
  file.attr = directory ? FS_ATTR_DIRECTORY : FS_ATTR_FILE;
  if (!directory) file.size = static_cast<std::int64_t>(attributes.filesize);
  // Kept on purpose: times after January 2038 come out negative. Pinned by
  // SftpFiles.ATimeAfter2038ComesOutBefore1970.
  const auto seconds = static_cast<std::int32_t>(static_cast<std::uint32_t>(attributes.mtime));
  file.create_time = file.access_time = file.modify_time = TimeToRFC3339(seconds);
}

}  // namespace

AERROR sftp_stat(const server_view& server, const char* path, _FS_FILE_V2& file) {
  log_operation("sftp_stat", path);
  lease borrowed{server.connected_pool()};
  if (!borrowed) return FAILED;
  const std::string remote = command_path(server, path);
  sftp_attributes attributes{};
  const CURLcode code =
      run_with_retry([&] { return borrowed->sftp().stat(remote, &write_attrs, &attributes); });
  if (code != CURLE_OK) {
    log_exec_error("sftp_stat", path, code);
    return FAILED;
  }
  __LOG__A(current_logger(), LOGLEVEL_INFO,
           "[PROTOCOL  ] %s id: [%s] , filesize [%lld], atime [%ld], mtime [%ld]", "sftp_stat",
           text_or_empty(path), static_cast<long long>(attributes.filesize),
           static_cast<long>(attributes.atime), static_cast<long>(attributes.mtime));
  store(attributes, file);
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
