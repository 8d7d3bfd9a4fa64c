#include "fileops/ftp_get_info.h"

#include "boundary/log.h"
#include "common/time_text.h"
#include "transport/byte_sink.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"

namespace ftp_plugin {
namespace {

/// Size and modification time that libcurl learnt from the last request; -1 each when unknown.
void store_size_and_time(CURL* curl, _FS_FILE_V2& file) {
  curl_off_t size = -1;
  curl_off_t seconds = -1;
  curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size);
  curl_easy_getinfo(curl, CURLINFO_FILETIME_T, &seconds);
  file.size = size;
  file.create_time = file.access_time = file.modify_time = TimeToRFC3339(static_cast<long>(seconds));
}

}  // namespace

AERROR ftp_get_info(const server_view& server, const char* path, _FS_FILE_V2& file) {
  lease borrowed{server.connected_pool()};
  if (!borrowed) return FAILED;
  connection& con = *borrowed;
  byte_vector ignored;
  const CURLcode code = transfer{con}
                            .set(CURLOPT_URL, request_url(server, con, path).c_str(), nullptr)
                            .write_to(&write_vector_char, &ignored)
                            .set(CURLOPT_HEADER, 1L, 0L)
                            .set(CURLOPT_FILETIME, 1L, 0L)
                            .set(CURLOPT_NOBODY, 1L, 0L)
                            .clear(CURLOPT_QUOTE, nullptr)
                            .run();
  if (code != CURLE_OK) log_exec_error("ftp_get_info", path, code);
  store_size_and_time(con.GETCURL(), file);
  // Kept on purpose: a missing file is FAILED like every other failure. Pinned by
  // FileInfo.AMissingFileIsFailed.
  if (code != CURLE_OK) return FAILED;
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
