#include "fileops/move_entry.h"

#include "boundary/abi/file_record.h"
#include "boundary/log.h"
#include "fileops/command_texts.h"
#include "fileops/result_codes.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {
namespace {

void log_move_error(const char* src, const std::string& new_name, CURLcode code) {
  __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s src: [%s] , target: [%s] exec error: [%d]",
           "Move", text_or_empty(src), new_name.c_str(), code);
}

bool is_root(const std::string& path) { return path.empty() || path == "/"; }

}  // namespace

changed_entry move_entry(const server_view& server, const char* src, const char* target,
                         const std::string& name, std::uint32_t attr) {
  const std::string encoded = encode_name(server, name, !server.names_are_utf8);
  const std::string id = text_or_empty(target) + ("/" + encoded);
  const std::string source = command_path(server, src);
  const std::string destination = command_path(server, id.c_str());
  const auto fail = [&](CURLcode code) -> changed_entry {
    log_move_error(src, encoded, code);
    return {write_result(code), {}};
  };
  if (is_root(source) || is_root(destination)) {
    // Kept on purpose: the root cannot be moved, and the request is reported as done, whatever the new name
    // is. It costs a connection. Pinned by Move.TheRootIsReportedAsDoneAndNothingIsSent.
    const lease dropped{server.connected_pool()};
    return {SUCCESS, {}};
  }
  for (const std::string& path : {source, destination}) {
    if (const CURLcode code = check_command_text(path, server.is_sftp); code != CURLE_OK) return fail(code);
  }

  lease borrowed{server.connected_pool()};
  if (!borrowed) return {FAILED, {}};
  const CURLcode code =
      borrowed.run_commands(rename_commands(source, destination, server.is_sftp),
                            attr == FS_ATTR_FILE ? folder_effect::kNone : folder_effect::kMoves);
  if (code != CURLE_OK) return fail(code);
  borrowed.give_back();
  return {SUCCESS, id};
}

}  // namespace ftp_plugin
