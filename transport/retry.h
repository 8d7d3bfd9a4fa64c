// The one repeat rule: a malformed reply to PASV is worth another try, nothing else is.
#pragma once

#include <curl/curl.h>

#include "transport/limits.h"

namespace ftp_plugin {

/// Whether the request that ended with `code` is to be repeated. For CURLE_FTP_WEIRD_PASV_REPLY (13) pauses
/// kRetryPause and returns true; for every other code returns false at once.
[[nodiscard]] bool process_error(CURLcode code);

/// Repeats `run` (a callable that gives a CURLcode) while the server's PASV reply is malformed, at most
/// kMaxRuns runs, with a pause after each (the last included). Returns the last result.
template <class Run>
[[nodiscard]] CURLcode run_with_retry(Run&& run) {
  CURLcode code = CURLE_OK;
  for (int n = 0; n < kMaxRuns; ++n) {
    code = run();
    if (!process_error(code)) break;
  }
  return code;
}

/// Repeats `run` for as long as libcurl fails to initialise. Returns the first other result.
// Kept on purpose: there is no bound. Pinned by Retry.ALoginIsRepeatedWhileLibcurlCannotInitialise.
template <class Run>
[[nodiscard]] CURLcode run_while_not_initialised(Run&& run) {
  CURLcode code = CURLE_FAILED_INIT;
  while (code == CURLE_FAILED_INIT) code = run();
  return code;
}

}  // namespace ftp_plugin
