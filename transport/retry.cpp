#include "transport/retry.h"

#include <chrono>
#include <thread>

namespace ftp_plugin {

bool process_error(CURLcode code) {
  if (code != CURLE_FTP_WEIRD_PASV_REPLY) return false;
  std::this_thread::sleep_for(std::chrono::milliseconds{100});
  return true;
}

}  // namespace ftp_plugin
