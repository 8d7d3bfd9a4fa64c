// How the progress of a transfer reaches the host: a record that libcurl hands to the two functions below.
#pragma once

#include <curl/curl.h>

#include <cstdint>

#include "boundary/abi/transfer_handle.h"

namespace ftp_plugin {

/// The user data of a transfer-info function. Must live as long as it is set on the handle.
struct progress_binding {
  FS_PROGRESS function = nullptr;  ///< null: nothing is called
  void* context = nullptr;         ///< handed back to `function`
  CURL* handle = nullptr;          ///< asked for the average speed; not owned
};

/// The record for a transfer of `host` (null: no progress) on `curl`. Copies the function and its context.
[[nodiscard]] inline progress_binding bind_progress(const _FS_HANDLE* host, CURL* curl) noexcept {
  if (host == nullptr) return {nullptr, nullptr, curl};
  return {host->progress, host->progress_context, curl};
}

/// Calls the bound function with `total`, `now`, its context and `speed` in bytes per second. What it throws
/// ends here.
void report_progress(const progress_binding& binding, std::int64_t total, std::int64_t now,
                     double speed) noexcept;

/// Transfer-info function of an upload: calls the bound function with total, sent, context and the average
/// upload speed. `binding` is a progress_binding or null. Always returns 0: progress never ends a transfer.
int _CURL_PROGRESS(void* binding, curl_off_t download_total, curl_off_t downloaded, curl_off_t upload_total,
                   curl_off_t uploaded) noexcept;

/// The same for a download: total, received, context and the average download speed.
int _CURL_PROGRESS_DOWNLOAD(void* binding, curl_off_t download_total, curl_off_t downloaded,
                            curl_off_t upload_total, curl_off_t uploaded) noexcept;

}  // namespace ftp_plugin
