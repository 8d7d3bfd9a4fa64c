#include "transport/pool/transfer.h"

#include "transport/ftp/ftp_buffers.h"
#include "transport/limits.h"
#include "transport/pool/file_range.h"
#include "transport/request/curl_callbacks.h"
#include "transport/retry.h"
#include "transport/sftp/sftp_buffers.h"

namespace ftp_plugin {

transfer& transfer::send_before(const std::vector<std::string>& commands) {
  for (const std::string& command : commands) add(before_, command);
  return set(CURLOPT_QUOTE, before_.get(), nullptr);
}

transfer& transfer::send_after(const std::vector<std::string>& commands) {
  for (const std::string& command : commands) add(after_, command);
  return set(CURLOPT_POSTQUOTE, after_.get(), nullptr);
}

transfer& transfer::copy_replies_to(byte_vector& replies) {
  undo_.emplace_back([this] { con_.copy_replies_to(nullptr); });
  con_.copy_replies_to(&replies);
  return *this;
}

transfer& transfer::download(long long offset, long long length, long long speed_limit) {
  asked_for_ = length;
  if (!con_.is_sftp()) send_before({"TYPE I"});
  const long buffer =
      con_.is_sftp() ? download_buffer_size(length, speed_limit) : ftp_download_buffer_size(speed_limit);
  if (buffer != kDefaultDownloadBuffer) set(CURLOPT_BUFFERSIZE, buffer, kDefaultDownloadBuffer);
  return limit_speed(speed_limit)
      .set(CURLOPT_RANGE, range_text({{}, offset, length, speed_limit}).c_str(), nullptr)
      .set(CURLOPT_NOBODY, 0L, 0L);
}

transfer& transfer::upload(long long size, long long speed_limit) {
  if (con_.is_sftp()) {
    set(CURLOPT_UPLOAD_BUFFERSIZE, upload_buffer_size(speed_limit), kDefaultUploadBuffer);
  } else {
    send_before({"TYPE I"});
  }
  return limit_speed(speed_limit)
      .set(CURLOPT_UPLOAD, 1L, 0L)
      .set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size), curl_off_t{0});
}

transfer& transfer::limit_speed(long long bytes_per_second) {
  // The limit ends with this request: a listing on the same connection is not held back by it.
  undo_.emplace_back([this] { con_.request()->SetSpeedLimit(0); });
  con_.request()->SetSpeedLimit(bytes_per_second);
  return *this;
}

transfer& transfer::report_upload(const _FS_HANDLE* host) {
  undo_.emplace_back([this] { con_.upload_progress_ = {}; });  // the host's context may end with this call
  con_.upload_progress_ = bind_progress(host, con_.GETCURL());
  return keep(CURLOPT_XFERINFOFUNCTION, &_CURL_PROGRESS)
      .keep(CURLOPT_XFERINFODATA, &con_.upload_progress_)
      .set(CURLOPT_NOPROGRESS, 0L, 1L);
}

CURLcode transfer::attempt() {
  return refused_ != CURLE_OK ? refused_ : con_.exec(kConnectTimeoutSeconds, true);
}

CURLcode transfer::run() {
  const CURLcode code = run_with_retry([this] { return attempt(); });
  finish(code);
  return code;
}

CURLcode transfer::run_once() {
  const CURLcode code = attempt();
  finish(code);
  return code;
}

void transfer::finish(CURLcode code) noexcept {
  undo();  // before the connection is given back: then others may hold the handle
  if (code != CURLE_OK || asked_for_ == 0 || con_.is_sftp()) return;
  // libcurl leaves the reply to ABOR unread when the file ends before the range does: every later request
  // on this control connection would read replies one late, and a refused command could look accepted.
  curl_off_t received = 0;
  (void)curl_easy_getinfo(con_.GETCURL(), CURLINFO_SIZE_DOWNLOAD_T, &received);
  if (received < asked_for_) con_.forget_control();
}

transfer::write_function transfer::discard_function() noexcept { return &discard_body; }

void transfer::undo() noexcept {
  for (const auto& step : undo_) step();
  undo_.clear();
}

}  // namespace ftp_plugin
