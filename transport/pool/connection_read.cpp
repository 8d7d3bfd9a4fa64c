#include "transport/ftp/ftp_buffers.h"
#include "transport/ftp/ftp_download.h"
#include "transport/limits.h"
#include "transport/pool/connection.h"
#include "transport/pool/transfer.h"
#include "transport/retry.h"

namespace ftp_plugin {
namespace {

/// Hands what libcurl brings for a whole range to a taker.
class range_writer {
 public:
  explicit range_writer(piece_taker& taker) noexcept : taker_{taker} {}
  [[nodiscard]] std::int64_t received() const noexcept { return received_; }

  static std::size_t take(char* data, std::size_t size, std::size_t count, void* self) noexcept {
    auto& writer = *static_cast<range_writer*>(self);
    const std::size_t taken = writer.taker_.take(data, size * count);
    writer.received_ += static_cast<std::int64_t>(taken);
    return taken;
  }
  static int report(void* self, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t) noexcept {
    auto& writer = *static_cast<range_writer*>(self);
    curl_off_t speed = 0;
    curl_easy_getinfo(writer.curl, CURLINFO_SPEED_DOWNLOAD_T, &speed);
    writer.taker_.report(total, now, static_cast<double>(speed));
    return 0;
  }

  CURL* curl = nullptr;  // asked for the average speed

 private:
  piece_taker& taker_;
  std::int64_t received_ = 0;
};

}  // namespace

CURLcode connection::read(const file_range& range, piece_taker& taker) {
  if (GETCURL() == nullptr) return CURLE_FAILED_INIT;
  return can_end_early(range.url) ? run_with_retry([&] { return read_piece(range, taker); })
                                  : read_libcurl_range(range, taker);
}

bool connection::can_end_early(const std::string& url) const {
  if (server_.is_sftp()) return false;
  // The one connection type on which libcurl speaks no FTP: it asks the proxy for the URL.
  const proxy_kind proxy = server_.proxy.kind;
  const bool is_http = proxy == proxy_kind::kHttp || proxy == proxy_kind::kUnnamed;
  if (is_http && !server_.proxy.host.empty()) return false;
  if (server_.wants_tls() && !tls_may_just_end_) return false;
  return ftp_download::can_serve(GETCURL(), url);
}

CURLcode connection::read_piece(const file_range& range, piece_taker& taker) {
  CURL* curl = GETCURL();
  begin_request(kConnectTimeoutSeconds);
  curl_->SetSpeedLimit(range.speed_limit);
  ftp_download download{*driver_,
                        curl,
                        {.url = range.url,
                         .offset = range.offset,
                         .buffer_size = ftp_download_buffer_size(range.speed_limit),
                         .may_be_cut = server_tells_of_ends_}};
  const CURLcode code = download.take(range.length, taker);
  if (download.server_kept_silent()) server_tells_of_ends_ = false;
  curl_->SetSpeedLimit(0);  // a listing on the same connection is not held back by it
  end_request(code);
  return code;
}

CURLcode connection::read_libcurl_range(const file_range& range, piece_taker& taker) {
  range_writer writer{taker};
  writer.curl = GETCURL();
  return transfer{*this}
      .set(CURLOPT_URL, range.url.c_str(), nullptr)
      .download(range.offset, range.length, range.speed_limit)
      .write_to(&range_writer::take, &writer)
      .set(CURLOPT_XFERINFOFUNCTION, &range_writer::report, nullptr)
      .set(CURLOPT_XFERINFODATA, &writer, nullptr)
      .set(CURLOPT_NOPROGRESS, 0L, 1L)
      .run();
}

}  // namespace ftp_plugin
