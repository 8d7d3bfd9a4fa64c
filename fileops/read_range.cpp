#include "fileops/read_range.h"

#include <utility>

#include "boundary/log.h"
#include "fileops/read_context.h"
#include "fileops/result_codes.h"
#include "transport/piece_taker.h"
#include "transport/pool/lease.h"
#include "transport/request/progress.h"

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

/// Collects a range into the host's blocks.
class block_taker final : public piece_taker {
 public:
  explicit block_taker(_RAWRITECTX& context) noexcept
      : context_{context}, progress_{bind_progress(context.handle.get(), nullptr)} {}

  std::size_t take(char* data, std::size_t size) noexcept override {
    return write_callback_cache_func(data, 1, size, &context_);
  }
  bool is_stopped() const noexcept override { return ftp_plugin::is_stopped(context_.handle); }
  void report(std::int64_t total, std::int64_t taken, double speed) noexcept override {
    report_progress(progress_, total, taken, speed);
  }

 private:
  _RAWRITECTX& context_;
  const progress_binding progress_;
};

}  // namespace

AERROR read_range(const server_view& server, const char* path, long long offset, long long length,
                  std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback) {
  lease borrowed{server.connected_pool()};
  if (!borrowed) return FAILED;
  const auto context = make_context(offset, length, std::move(handle), callback);
  block_taker taker{*context};
  const CURLcode code =
      borrowed->read({request_url(server, *borrowed, path), offset, length, server.speed_limit}, taker);
  if (code != CURLE_OK) {
    log_exec_error("Read", path, code);
    return read_result(code);
  }
  borrowed.give_back();
  return SUCCESS;
}

}  // namespace ftp_plugin
