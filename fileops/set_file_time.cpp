#include "fileops/set_file_time.h"

#include "boundary/log.h"
#include "fileops/command_texts.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {

bool can_set_times(const server_view& server) noexcept {
  return !server.is_sftp && server.file_time_mode == 1;
}

AERROR set_file_time(const server_view& server, const char* path, const std::string& time) {
  const std::string server_path = command_path(server, path);
  const auto fail = [&](CURLcode code) {
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s src: [%s]  exec error: [%d]", "SetFileTime",
             text_or_empty(path), code);
    return FAILED;
  };
  if (const CURLcode code = check_command_text(server_path, false); code != CURLE_OK) return fail(code);

  lease borrowed{server.connected_pool()};
  if (!borrowed) return FAILED;
  const CURLcode code = borrowed.run_commands({set_time_command(server_path, time)}, folder_effect::kNone);
  // Also after a refusal, which says nothing about the login.
  // Pinned by SetFileTime.ARefusalFailsAndKeepsTheConnection.
  borrowed.give_back_if_answered(code);
  return code == CURLE_OK ? SUCCESS : fail(code);
}

}  // namespace ftp_plugin
