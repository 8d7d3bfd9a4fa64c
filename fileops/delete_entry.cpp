#include "fileops/delete_entry.h"

#include <string>

#include "boundary/log.h"
#include "fileops/command_texts.h"
#include "transport/pool/lease.h"

namespace ftp_plugin {

AERROR delete_entry(const server_view& server, const char* path, bool directory) {
  // Kept on purpose: unlike a new name, a path is not converted to the server's character set; the
  // identifiers of listings hold the server's bytes. Pinned by Delete.SendsNamesInUtf8WhateverTheServerTakes.
  const std::string server_path = command_path(server, path);
  const auto fail = [&](CURLcode code) {
    log_exec_error("_Delete", path, code);
    return FAILED;
  };
  if (const CURLcode code = check_command_text(server_path, server.is_sftp); code != CURLE_OK) {
    return fail(code);
  }

  lease borrowed{server.connected_pool()};
  if (!borrowed) return FAILED;
  const CURLcode code = borrowed.run_commands({delete_command(server_path, server.is_sftp, directory)},
                                              directory ? folder_effect::kMoves : folder_effect::kNone);
  if (code != CURLE_OK) return fail(code);
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
