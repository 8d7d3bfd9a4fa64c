#include "fileops/read_range.h"

#include <utility>

#include "boundary/log.h"
#include "fileops/command_texts.h"
#include "fileops/read_context.h"
#include "fileops/result_codes.h"
#include "transport/command_list.h"
#include "transport/ftp/ftp_buffers.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"
#include "transport/request/progress.h"
#include "transport/sftp/sftp_buffers.h"

namespace ftp_plugin {
namespace {

std::shared_ptr<_RAWRITECTX> make_context(long long offset, long long length,
                                          std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback) {
  auto context = std::make_shared<_RAWRITECTX>();
  context->offset = context->start = offset;
  context->remaining = length;
  context->handle = std::move(handle);
  context->callback = callback;
  return context;
}

}  // namespace

AERROR read_range(const server_view& server, const char* path, long long offset, long long length,
                  std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback) {
  lease borrowed{server.connected_pool()};
  connection& con = *borrowed;
  const std::string url = request_url(server, con, path);
  if (con.request() != nullptr) con.request()->SetSpeedLimit(server.speed_limit);
  if (con.GETCURL() == nullptr) return FAILED;

  command_list commands;
  if (!server.is_sftp) add(commands, "TYPE I");
  const auto context = make_context(offset, length, std::move(handle), callback);
  progress_binding progress = bind_progress(context->handle.get(), con.GETCURL());
  transfer request{con};
  const long buffer_size = server.is_sftp ? download_buffer_size(length, server.speed_limit)
                                          : ftp_download_buffer_size(server.speed_limit);
  if (buffer_size != kDefaultDownloadBuffer) {
    request.set(CURLOPT_BUFFERSIZE, buffer_size, kDefaultDownloadBuffer);
  }
  const CURLcode code = request.set(CURLOPT_QUOTE, commands.get(), nullptr)
                            .set(CURLOPT_URL, url.c_str(), nullptr)
                            .set(CURLOPT_RANGE, range_text(offset, length).c_str(), nullptr)
                            .set(CURLOPT_NOBODY, 0L, 0L)
                            .write_to(&write_callback_cache_func, context.get())
                            .set(CURLOPT_XFERINFOFUNCTION, &_CURL_PROGRESS_DOWNLOAD, nullptr)
                            .set(CURLOPT_XFERINFODATA, &progress, nullptr)
                            .set(CURLOPT_NOPROGRESS, 0L, 1L)
                            .run();
  if (code != CURLE_OK) {
    log_exec_error("Read", path, code);
    return read_result(code);
  }
  // libcurl leaves the reply to ABOR unread when the file ends before the range does: every later request
  // on this control connection would read replies one late, and a refused command could look accepted.
  if (!server.is_sftp && context->received < length) con.forget_control();
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
