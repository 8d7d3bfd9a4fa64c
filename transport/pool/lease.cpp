#include "transport/pool/lease.h"

#include "transport/pool/transfer.h"

namespace ftp_plugin {

lease::lease(std::shared_ptr<pool> from) : pool_{std::move(from)}, con_{pool_->pop_con()} {
  con_->leave_moved_folder(pool_->folder_moves());
}

CURLcode lease::run_commands(const std::vector<std::string>& commands, folder_effect effect) {
  transfer request{*con_};
  if (effect == folder_effect::kCreates) {
    request.set(CURLOPT_FTP_CREATE_MISSING_DIRS, static_cast<long>(CURLFTP_CREATE_DIR_RETRY),
                static_cast<long>(CURLFTP_CREATE_DIR_NONE));
  }
  const CURLcode code = request.send_after(commands).set(CURLOPT_NOBODY, 1L, 0L).run();
  if (code == CURLE_OK && effect == folder_effect::kMoves) pool_->count_folder_move();
  return code;
}

}  // namespace ftp_plugin
