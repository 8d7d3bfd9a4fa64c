// What one performed web request brought back; no operation makes one.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>

namespace ftp_plugin {

/// Result of one PerformGet or PerformPost. Everything but `result` is filled on success only. Header and
/// body texts are there when the request object collected them itself; each buffer holds one zero byte more
/// than its length says, and copies of the record share it.
struct curl_response {
  CURLcode result = CURLE_FAILED_INIT;  ///< stays so when nothing could be performed
  long response_code = 0;               ///< status of the last reply, for instance 200
  std::shared_ptr<char[]> header;       ///< every header received, those of redirects included
  std::size_t header_length = 0;        ///< bytes
  std::shared_ptr<char[]> body;
  std::size_t body_length = 0;  ///< bytes
  double download_speed = 0;    ///< average over the transfer, bytes per second
  double upload_speed = 0;      ///< average over the transfer, bytes per second
};

}  // namespace ftp_plugin
