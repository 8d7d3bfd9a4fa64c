#include "transport/request/progress.h"

#include "boundary/no_throw.h"

namespace ftp_plugin {
namespace {

void report(const progress_binding* binding, curl_off_t total, curl_off_t now, CURLINFO speed_kind) noexcept {
  if (binding == nullptr || binding->function == nullptr) return;
  double speed = 0;
  if (binding->handle != nullptr) curl_easy_getinfo(binding->handle, speed_kind, &speed);
  report_progress(*binding, total, now, speed);
}

}  // namespace

void report_progress(const progress_binding& binding, std::int64_t total, std::int64_t now,
                     double speed) noexcept {
  if (binding.function == nullptr) return;
  (void)no_throw("progress", 0, [&] { return binding.function(total, now, binding.context, speed); });
}

int _CURL_PROGRESS(void* binding, curl_off_t, curl_off_t, curl_off_t upload_total,
                   curl_off_t uploaded) noexcept {
  report(static_cast<const progress_binding*>(binding), upload_total, uploaded, CURLINFO_SPEED_UPLOAD);
  return 0;
}

int _CURL_PROGRESS_DOWNLOAD(void* binding, curl_off_t download_total, curl_off_t downloaded, curl_off_t,
                            curl_off_t) noexcept {
  report(static_cast<const progress_binding*>(binding), download_total, downloaded, CURLINFO_SPEED_DOWNLOAD);
  return 0;
}

}  // namespace ftp_plugin
