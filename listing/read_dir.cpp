#include "listing/read_dir.h"

#include <string>
#include <string_view>
#include <utility>

#include "boundary/log.h"
#include "common/string_format.h"
#include "listing/sftp_listing.h"
#include "transport/one_line.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"
#include "transport/retry.h"

namespace ftp_plugin {
namespace {

/// Runs the request; `text` becomes its body.
CURLcode fetch(transfer& request, malloc_block& text) {
  byte_vector body;
  const CURLcode code = request.write_to(&write_vector_char, &body).run();
  if (code == CURLE_OK) text = body.release_text();
  return code;
}

CURLcode list_mlsd(connection& con, const std::string& command, malloc_block& text) {
  transfer request{con};
  return fetch(request.set(CURLOPT_CUSTOMREQUEST, command.c_str(), nullptr), text);
}

CURLcode list_url(connection& con, std::string url, malloc_block& text) {
  if (!url.ends_with('/')) url += '/';  // libcurl then lists the directory
  transfer request{con};
  return fetch(request.keep(CURLOPT_URL, url.c_str()), text);
}

/// libcurl's own listing would show times to the minute or the day, and no way to tell a name that holds `;`.
CURLcode list_sftp(connection& con, const std::string& path, malloc_block& text) {
  sftp_listing listing;
  const CURLcode code = run_with_retry([&] { return con.sftp().list(path, listing); });
  if (code != CURLE_OK) return code;
  if (listing.left_out() != 0) {
    __LOG__A(current_logger(), LOGLEVEL_ERROR,
             "[NETWORK   ] SFTP listing of [%s]: %zu names hold a line feed and are left out", path.c_str(),
             listing.left_out());
  }
  text = listing.release_text();
  return CURLE_OK;
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
  if (!borrowed) return std::nullopt;
  connection& con = *borrowed;
  malloc_block text;
  const CURLcode code = server.is_sftp ? list_sftp(con, command_path(server, path), text)
                        : is_mlsd      ? list_mlsd(con, command, text)
                                       : list_url(con, request_url(server, con, path), text);
  if (code != CURLE_OK) return fail(code);
  borrowed.give_back();
  return raw_listing{is_mlsd, std::move(text)};
}

}  // namespace ftp_plugin
