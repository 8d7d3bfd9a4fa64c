#include "transport/pool/transfer.h"

#include "transport/limits.h"
#include "transport/request/curl_callbacks.h"
#include "transport/retry.h"

namespace ftp_plugin {

CURLcode transfer::attempt() {
  return refused_ != CURLE_OK ? refused_ : con_.exec(kConnectTimeoutSeconds, true);
}

CURLcode transfer::run() {
  const CURLcode code = run_with_retry([this] { return attempt(); });
  undo();  // before the connection is given back: then others may hold the handle
  return code;
}

CURLcode transfer::run_once() {
  const CURLcode code = attempt();
  undo();
  return code;
}

transfer::write_function transfer::discard_function() noexcept { return &discard_body; }

void transfer::undo() noexcept {
  for (const auto& step : undo_) step(con_.GETCURL());
  undo_.clear();
}

}  // namespace ftp_plugin
