#include "listing/read_dir.h"

#include <string>
#include <string_view>
#include <utility>

#include "boundary/log.h"
#include "common/string_format.h"
#include "transport/ftp/ftp_buffers.h"
#include "transport/one_line.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"
#include "transport/retry.h"

namespace ftp_plugin {
namespace {

/// The handle keeps the speed limit of the last read on it.
void hold(long long speed_limit, transfer& request) {
  if (speed_limit <= 0) return;
  request.set(CURLOPT_BUFFERSIZE, ftp_download_buffer_size(speed_limit), kDefaultDownloadBuffer);
}

CURLcode list_mlsd(connection& con, const std::string& command, long long speed_limit, byte_vector& bytes) {
  transfer request{con};
  hold(speed_limit, request);
  return request.set(CURLOPT_CUSTOMREQUEST, command.c_str(), nullptr)
      .write_to(&write_vector_char, &bytes)
      .run();
}

CURLcode list_url(connection& con, std::string url, long long speed_limit, byte_vector& bytes) {
  if (!url.ends_with('/')) url += '/';  // libcurl then lists the directory
  transfer request{con};
  hold(speed_limit, request);
  return request.keep(CURLOPT_URL, url.c_str()).write_to(&write_vector_char, &bytes).run();
}

/// libcurl's own listing would show times to the minute or the day, and no way to tell a name that holds `;`.
CURLcode list_sftp(connection& con, const std::string& path, byte_vector& bytes) {
  return run_with_retry([&] { return con.sftp().list(path, bytes); });
}

}  // namespace

std::optional<raw_listing> read_dir(const server_view& server, const char* path) {
  const auto fail = [path](CURLcode code) {
    log_exec_error("read_dir", path, code);
    return std::nullopt;
  };
  // Some servers read "[" as the beginning of a pattern, and only in MLSD.
  const bool is_mlsd = server.connected_pool()->mlst() &&
                       std::string_view{text_or_empty(path)}.find('[') == std::string_view::npos;
  const std::string command = string_format("MLSD %s", command_path(server, path).c_str());
  if (is_mlsd && !is_one_line(command)) return fail(CURLE_URL_MALFORMAT);

  lease borrowed{server.connected_pool()};
  connection& con = *borrowed;
  if (con.GETCURL() == nullptr) return std::nullopt;
  byte_vector bytes;
  const CURLcode code = server.is_sftp ? list_sftp(con, command_path(server, path), bytes)
                        : is_mlsd      ? list_mlsd(con, command, server.speed_limit, bytes)
                                  : list_url(con, request_url(server, con, path), server.speed_limit, bytes);
  if (code != CURLE_OK) return fail(code);
  malloc_block text = bytes.release_text();
  borrowed.give_back();
  return raw_listing{is_mlsd, std::move(text)};
}

}  // namespace ftp_plugin
