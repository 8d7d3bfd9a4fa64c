#include <string>
#include <utility>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "fileops/command_texts.h"
#include "fileops/run_post_quote.h"
#include "protocol/protocol.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {

AERROR Protocol::SetFileTime(const char* path, std::string, std::string second, std::string third,
                             _FS_FILE_V2* file, char** message) {
  return no_throw(FAILED, [&] {
    log_operation("SetFileTime", path);
    if (is_sftp() || file_time_mode != 1) return NOT_SUPPORTED;
    if (message != nullptr) *message = nullptr;
    const std::string server_path = full_path("", path);
    const auto fail = [&](CURLcode code) {
      __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s src: [%s]  exec error: [%d]", "SetFileTime",
               text_or_empty(path), code);
      return FAILED;
    };
    if (const CURLcode code = check_command_text(server_path, false); code != CURLE_OK) return fail(code);

    lease borrowed{connected_pool()};
    connection& con = *borrowed;
    if (con.GETCURL() == nullptr) return FAILED;
    const CURLcode code = run_post_quote(con, {set_time_command(server_path, third)});
    // Also after a refusal, which says nothing about the login.
    // Pinned by SetFileTime.ARefusalFailsAndKeepsTheConnection.
    borrowed.give_back();
    if (code != CURLE_OK) return fail(code);
    file->modify_time = std::move(third);
    file->access_time = std::move(second);
    return SUCCESS;
  });
}

}  // namespace ftp_plugin
