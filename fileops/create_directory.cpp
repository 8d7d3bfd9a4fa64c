#include "fileops/create_directory.h"

#include "boundary/log.h"
#include "fileops/command_texts.h"
#include "fileops/result_codes.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {

changed_entry create_directory(const server_view& server, const char* path, const std::string& name) {
  const std::string id = text_or_empty(path) + ("/" + encode_name(server, name, !server.names_are_utf8));
  const std::string server_path = command_path(server, id.c_str());
  const auto fail = [&](CURLcode code) -> changed_entry {
    log_exec_error("CreateDirectory", path, code);
    return {create_result(code), {}};
  };
  if (const CURLcode code = check_command_text(server_path, server.is_sftp); code != CURLE_OK) {
    return fail(code);
  }

  lease borrowed{server.connected_pool()};
  if (server_path.empty() || server_path == "/") return {FAILED, {}};  // the root can never be created
  if (!borrowed) return {FAILED, {}};
  const CURLcode code =
      borrowed.run_commands({make_directory_command(server_path, server.is_sftp)}, folder_effect::kCreates);
  if (code != CURLE_OK) return fail(code);
  borrowed.give_back();
  return {SUCCESS, id};
}

}  // namespace ftp_plugin
