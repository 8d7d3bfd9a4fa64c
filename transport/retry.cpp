#include "transport/retry.h"

#include <thread>

namespace ftp_plugin {

bool process_error(CURLcode code) {
  if (code != CURLE_FTP_WEIRD_PASV_REPLY) return false;
  std::this_thread::sleep_for(kRetryPause);
  return true;
}

}  // namespace ftp_plugin
