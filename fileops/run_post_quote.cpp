#include "fileops/run_post_quote.h"

#include "transport/command_list.h"
#include "transport/pool/transfer.h"

namespace ftp_plugin {

CURLcode run_post_quote(connection& con, const std::vector<std::string>& commands, long create_missing_dirs) {
  command_list list;
  for (const std::string& command : commands) add(list, command);
  transfer request{con};
  if (create_missing_dirs != CURLFTP_CREATE_DIR_NONE) {
    request.set(CURLOPT_FTP_CREATE_MISSING_DIRS, create_missing_dirs,
                static_cast<long>(CURLFTP_CREATE_DIR_NONE));
  }
  return request.set(CURLOPT_POSTQUOTE, list.get(), nullptr).set(CURLOPT_NOBODY, 1L, 0L).run();
}

}  // namespace ftp_plugin
