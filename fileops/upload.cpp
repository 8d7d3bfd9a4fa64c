#include "fileops/upload.h"

#include <string>
#include <utility>

#include "boundary/log.h"
#include "fileops/result_codes.h"
#include "fileops/upload_context.h"
#include "transport/command_list.h"
#include "transport/one_line.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"
#include "transport/request/progress.h"
#include "transport/sftp/sftp_buffers.h"

namespace ftp_plugin {

changed_entry upload(const server_view& server, const char* path, std::shared_ptr<_FS_HANDLE> handle,
                     ICacheIO* cache, const _FS_FILE_V2& file) {
  const std::string encoded = encode_name(server, file.name, !server.names_are_utf8);
  const std::string id = text_or_empty(path) + ("/" + encoded);
  const auto fail = [&](CURLcode code) -> changed_entry {
    log_exec_error("Upload", encoded.c_str(), code);
    return {write_result(code), {}};
  };
  // libcurl refuses a line break in a URL on FTP only, and the refusal costs the connection.
  if (!is_one_line(command_path(server, id.c_str()))) return fail(CURLE_URL_MALFORMAT);

  lease borrowed{server.connected_pool()};
  connection& con = *borrowed;
  const std::string url = request_url(server, con, id.c_str());
  if (con.GETCURL() == nullptr) return {FAILED, {}};
  con.request()->SetSpeedLimit(server.speed_limit);

  command_list commands;
  if (!server.is_sftp) add(commands, "TYPE I");
  _RAREADCTX context;
  context.handle = std::move(handle);
  context.cache = cache;
  context.size = static_cast<std::uint64_t>(file.size);
  // The progress pair stays set on the handle, so its record belongs to the connection.
  con.upload_progress() = bind_progress(context.handle.get(), con.GETCURL());
  transfer request{con};
  if (server.is_sftp) {
    const long block = upload_buffer_size(server.speed_limit);
    request.set(CURLOPT_UPLOAD_BUFFERSIZE, block, kDefaultUploadBuffer);
    context.block = static_cast<std::uint64_t>(block);
  }
  CURLcode code = request.set(CURLOPT_QUOTE, commands.get(), nullptr)
                      .set(CURLOPT_URL, url.c_str(), nullptr)
                      .set(CURLOPT_UPLOAD, 1L, 0L)
                      .set(CURLOPT_READDATA, &context, nullptr)
                      .set(CURLOPT_READFUNCTION, &read_callback_cache_func, nullptr)
                      .set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(file.size), curl_off_t{0})
                      .keep(CURLOPT_XFERINFOFUNCTION, &_CURL_PROGRESS)
                      .keep(CURLOPT_XFERINFODATA, &con.upload_progress())
                      .set(CURLOPT_NOPROGRESS, 0L, 1L)
                      .run();
  con.upload_progress() = {};  // the host's context may end with this call
  // libcurl compares the lengths on FTP only; a part of a file is no stored file on SFTP either.
  if (code == CURLE_OK) ask_for_an_empty_file(context);
  const bool whole = file.size < 0 || context.offset == context.size;  // below 0: of unknown size
  if (code == CURLE_OK && !whole) code = CURLE_PARTIAL_FILE;
  if (code != CURLE_OK) return fail(code);
  borrowed.give_back();
  return {SUCCESS, id};
}

}  // namespace ftp_plugin
