#include <string>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "common/string_format.h"
#include "common/time_text.h"
#include "protocol/protocol.h"
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

/// What stands before the last "/" of `path`; empty when there is none.
std::string parent_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string{} : path.substr(0, slash);
}

/// What stands behind the last "/" of `id`; all of it when there is none.
std::string name_of(const std::string& id) {
  const std::size_t slash = id.rfind('/');
  return slash == std::string::npos ? id : id.substr(slash + 1);
}

}  // namespace

AERROR Protocol::GetFileInfo(const char* path, _FS_FILE_V2* file, char** message) {
  return no_throw(FAILED, [&] {
    if (message != nullptr) *message = nullptr;
    log_operation("GetFileInfo", path);
    __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s dir: [%d]", "GetFileInfo",
             static_cast<int>(file->attr & FS_ATTR_DIRECTORY));
    const char* id = text_or_empty(path);
    file->id = string_format(*id == '/' ? "%s" : "/%s", id);
    if (is_sftp()) return sftp_stat(path, file, message);
    if ((file->attr & FS_ATTR_DIRECTORY) != 0) return GetFileInfoUsingGetFileList(path, file, message);
    return ftp_get_info(path, file, message);
  });
}

AERROR Protocol::ftp_get_info(const char* path, _FS_FILE_V2* file, char**) {
  lease borrowed{connected_pool()};
  connection& con = *borrowed;
  if (con.GETCURL() == nullptr) return FAILED;
  byte_vector ignored;
  const CURLcode code = transfer{con}
                            .set(CURLOPT_URL, request_url(con, path).c_str(), nullptr)
                            .write_to(&write_vector_char, &ignored)
                            .set(CURLOPT_HEADER, 1L, 0L)
                            .set(CURLOPT_FILETIME, 1L, 0L)
                            .set(CURLOPT_NOBODY, 1L, 0L)
                            .clear(CURLOPT_QUOTE, nullptr)
                            .run();
  if (code != CURLE_OK) log_exec_error("ftp_get_info", path, code);
  store_size_and_time(con.GETCURL(), *file);
  // Kept on purpose: a missing file is FAILED like every other failure. Pinned by
  // FileInfo.AMissingFileIsFailed.
  if (code != CURLE_OK) return FAILED;
  borrowed.give_back();
  return SUCCESS;
}

AERROR Protocol::GetFileInfoUsingGetFileList(const char* path, _FS_FILE_V2* file, char** message) {
  log_operation("GetFileInfoUsingGetFileList", path);
  const std::string name = name_of(file->id);
  return _GetFileList(parent_of(text_or_empty(path)).c_str(), nullptr, message, name.c_str(), file);
}

}  // namespace ftp_plugin
