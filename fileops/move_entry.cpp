#include <string>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "fileops/command_texts.h"
#include "fileops/result_codes.h"
#include "fileops/run_post_quote.h"
#include "protocol/protocol.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {
namespace {

void log_move(const char* operation, const char* src, const char* target, const _FS_FILE_V2& file) {
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s id [%s], target [%s], filename [%s], attr[%d]",
           operation, text_or_empty(src), text_or_empty(target), file.name.c_str(),
           static_cast<int>(file.attr));
}

void log_move_error(const char* src, const std::string& new_name, CURLcode code) {
  __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s src: [%s] , target: [%s] exec error: [%d]",
           "Move", text_or_empty(src), new_name.c_str(), code);
}

bool is_root(const std::string& path) { return path.empty() || path == "/"; }

}  // namespace

AERROR Protocol::Rename(const char* src, const char* target, _FS_FILE_V2* file, char** message) {
  return no_throw(FILE_WRITE_FAILED, [&] {
    log_move("Rename", src, target, *file);
    return Move(src, target, file, message);
  });
}

AERROR Protocol::MoveDir(const char* src, const char* target, _FS_FILE_V2* file, char** message) {
  return no_throw(FILE_WRITE_FAILED, [&] {
    log_move("MoveDir", src, target, *file);
    file->attr = FS_ATTR_DIRECTORY;
    return Move(src, target, file, message);
  });
}

AERROR Protocol::Move(const char* src, const char* target, _FS_FILE_V2* file, char** message) {
  return no_throw(FILE_WRITE_FAILED, [&] {
    log_move("Move", src, target, *file);
    if (message != nullptr) *message = nullptr;
    const std::string encoded = _encode(file->name, !connected_pool()->utf8());
    const std::string id = text_or_empty(target) + ("/" + encoded);
    const std::string source = full_path("", src);
    const std::string destination = full_path("", id.c_str());
    const auto fail = [&](CURLcode code) {
      log_move_error(src, encoded, code);
      return write_result(code);
    };
    for (const std::string& path : {source, destination}) {
      if (const CURLcode code = check_command_text(path, is_sftp()); code != CURLE_OK) return fail(code);
    }

    lease borrowed{connected_pool()};
    // Kept on purpose: the root cannot be moved, and the request is reported as done. The connection is
    // dropped. Pinned by Move.TheRootIsReportedAsDoneAndNothingIsSent.
    if (is_root(source) || is_root(destination)) return SUCCESS;
    connection& con = *borrowed;
    if (con.GETCURL() == nullptr) return FAILED;
    const CURLcode code = run_post_quote(con, rename_commands(source, destination, is_sftp()));
    if (code != CURLE_OK) return fail(code);
    if (file->attr != FS_ATTR_FILE) borrowed.folder_was_moved();
    borrowed.give_back();
    return GetFileInfo(id.c_str(), file, nullptr);
  });
}

}  // namespace ftp_plugin
