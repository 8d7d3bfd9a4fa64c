#include "fileops/read_range.h"

#include <utility>

#include "boundary/log.h"
#include "fileops/read_context.h"
#include "fileops/result_codes.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"

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
  if (!borrowed) return FAILED;
  const auto context = make_context(offset, length, std::move(handle), callback);
  const CURLcode code = transfer{*borrowed}
                            .set(CURLOPT_URL, request_url(server, *borrowed, path).c_str(), nullptr)
                            .download(offset, length, server.speed_limit)
                            .write_to(&write_callback_cache_func, context.get())
                            .report_download(context->handle.get())
                            .run();
  if (code != CURLE_OK) {
    log_exec_error("Read", path, code);
    return read_result(code);
  }
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
