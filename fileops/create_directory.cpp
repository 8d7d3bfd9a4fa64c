#include <string>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "fileops/command_texts.h"
#include "fileops/result_codes.h"
#include "fileops/run_post_quote.h"
#include "protocol/protocol.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {

AERROR Protocol::CreateDirectory(const char* path, _FS_FILE_V2* file, char** message) {
  return no_throw(FOLDER_CREATION_FAILED, [&] {
    log_operation("CreateDirectory", path);
    if (message != nullptr) *message = nullptr;
    const std::string id = text_or_empty(path) + ("/" + _encode(file->name, !connected_pool()->utf8()));
    const std::string server_path = full_path("", id.c_str());
    const auto fail = [&](CURLcode code) {
      log_exec_error("CreateDirectory", path, code);
      return create_result(code);
    };
    if (const CURLcode code = check_command_text(server_path, is_sftp()); code != CURLE_OK) return fail(code);

    lease borrowed{connected_pool()};
    if (server_path.empty() || server_path == "/") return FAILED;  // the root can never be created
    connection& con = *borrowed;
    if (con.GETCURL() == nullptr) return FAILED;
    const CURLcode code =
        run_post_quote(con, {make_directory_command(server_path, is_sftp())}, CURLFTP_CREATE_DIR_RETRY);
    if (code != CURLE_OK) return fail(code);
    borrowed.give_back();
    file->attr = FS_ATTR_DIRECTORY;
    return GetFileInfo(id.c_str(), file, nullptr);
  });
}

AERROR Protocol::Delete(const char* path, char** message) {
  return no_throw(FAILED, [&] {
    log_operation("Delete", path);
    return _Delete(path, message, false);
  });
}

AERROR Protocol::DeleteDirectory(const char* path, char** message) {
  return no_throw(FAILED, [&] {
    log_operation("DeleteDirectory", path);
    return _Delete(path, message, true);
  });
}

AERROR Protocol::_Delete(const char* path, char** message, bool directory) {
  if (message != nullptr) *message = nullptr;
  // Kept on purpose: unlike a new name, a path is not converted to the server's character set; the
  // identifiers of listings hold the server's bytes. Pinned by Delete.SendsNamesInUtf8WhateverTheServerTakes.
  const std::string server_path = full_path("", path);
  const auto fail = [&](CURLcode code) {
    log_exec_error("_Delete", path, code);
    return FAILED;
  };
  if (const CURLcode code = check_command_text(server_path, is_sftp()); code != CURLE_OK) return fail(code);

  lease borrowed{connected_pool()};
  connection& con = *borrowed;
  if (con.GETCURL() == nullptr) return FAILED;
  const CURLcode code = run_post_quote(con, {delete_command(server_path, is_sftp(), directory)});
  if (code != CURLE_OK) return fail(code);
  if (directory) borrowed.folder_was_moved();
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
