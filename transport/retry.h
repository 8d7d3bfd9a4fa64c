// The one repeat rule: a malformed reply to PASV is worth another try, nothing else is.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <thread>

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

/// Repeats `run` while libcurl fails to initialise (CURLE_FAILED_INIT), behind each of kLoginPauses, as long
/// as the time limit of a login has not passed. libcurl says so of an SSH server that hangs up early, too.
/// Returns the last result.
/// Pinned by Retry.ALoginIsRepeatedFourTimesWhileLibcurlCannotInitialise.
template <class Run>
[[nodiscard]] CURLcode run_while_not_initialised(Run&& run) {
  using clock = std::chrono::steady_clock;
  const clock::time_point end = clock::now() + std::chrono::seconds{kConnectTimeoutSeconds};
  CURLcode code = run();
  for (const std::chrono::milliseconds pause : kLoginPauses) {
    if (code != CURLE_FAILED_INIT || clock::now() + pause > end) break;
    std::this_thread::sleep_for(pause);
    code = run();
  }
  return code;
}

}  // namespace ftp_plugin
