#include "fileops/upload.h"

#include <string>
#include <utility>

#include "boundary/log.h"
#include "fileops/result_codes.h"
#include "fileops/upload_context.h"
#include "transport/one_line.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"
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
  if (!borrowed) return {FAILED, {}};
  _RAREADCTX context;
  context.handle = std::move(handle);
  context.cache = cache;
  context.size = static_cast<std::uint64_t>(file.size);
  if (server.is_sftp) context.block = static_cast<std::uint64_t>(upload_buffer_size(server.speed_limit));
  CURLcode code = transfer{*borrowed}
                      .set(CURLOPT_URL, request_url(server, *borrowed, id.c_str()).c_str(), nullptr)
                      .upload(file.size, server.speed_limit)
                      .set(CURLOPT_READDATA, &context, nullptr)
                      .set(CURLOPT_READFUNCTION, &read_callback_cache_func, nullptr)
                      .report_upload(context.handle.get())
                      .run();
  // libcurl compares the lengths on FTP only; a part of a file is no stored file on SFTP either.
  if (code == CURLE_OK) ask_for_an_empty_file(context);
  const bool whole = file.size < 0 || context.offset == context.size;  // below 0: of unknown size
  if (code == CURLE_OK && !whole) code = CURLE_PARTIAL_FILE;
  if (code != CURLE_OK) return fail(code);
  borrowed.give_back();
  return {SUCCESS, id};
}

}  // namespace ftp_plugin
