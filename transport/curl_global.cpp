#include "transport/curl_global.h"

#include <curl/curl.h>

namespace ftp_plugin {

void start_curl() noexcept {
  // Never undone: when this library is unloaded, the host may still be using libcurl on its own account, and
  // no thread of ours is left to be sure that nobody is inside it.
  [[maybe_unused]] static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
}

}  // namespace ftp_plugin
