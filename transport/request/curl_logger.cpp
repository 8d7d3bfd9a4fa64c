#include "transport/request/curl_logger.h"

#include <algorithm>
#include <limits>

#include "boundary/log.h"
#include "transport/curl_trace.h"

namespace ftp_plugin {
namespace {

/// A number for "%d"; what does not fit is written as the largest one.
template <class Number>
int as_int(Number value) noexcept {
  constexpr int kMost = std::numeric_limits<int>::max();
  return value >= static_cast<Number>(kMost) ? kMost : static_cast<int>(value);
}

}  // namespace

CURLLogger::CURLLogger() { curl_easy_setopt(GetCURL(), CURLOPT_ERRORBUFFER, errorBuffer); }

CURLLogger::~CURLLogger() {
  // The handle is released after the buffer is gone, and saying goodbye may fail.
  curl_easy_setopt(GetCURL(), CURLOPT_ERRORBUFFER, nullptr);
}

void CURLLogger::InstallLogger() {
  ILog* log = current_logger();
  if (log == nullptr) return;
  const bool tracing = (log->IsTracing() & 1) != 0;
  curl_easy_setopt(GetCURL(), CURLOPT_VERBOSE, tracing ? 1L : 0L);
  curl_easy_setopt(GetCURL(), CURLOPT_DEBUGFUNCTION, tracing ? &CURLDebug : nullptr);
}

curl_response CURLLogger::PerformGet(void* write_function, void* write_data) {
  begin_request();
  curl_response response = CURLImpl::PerformGet(write_function, write_data);
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PERF      ] Download %db/s : %s(%d bytes)",
           as_int(response.download_speed), GetURL().c_str(), as_int(response.body_length));
  return response;
}

curl_response CURLLogger::PerformPost(std::string body) {
  begin_request();
  const auto sent = static_cast<long long>(body.size());
  curl_response response = CURLImpl::PerformPost(std::move(body));
  log_exchange(response, sent);
  return response;
}

curl_response CURLLogger::PerformPost(void* read_function, void* read_data, long long size) {
  begin_request();
  curl_response response = CURLImpl::PerformPost(read_function, read_data, size);
  log_exchange(response, size);
  return response;
}

void CURLLogger::begin_request() {
  std::string text = GetURL();
  const std::string query = BuildQueryString(false);
  if (!query.empty()) {
    text += text.find('?') == std::string::npos ? '?' : '&';
    text += query;
  }
  InstallLogger();
  lastURL = Unescape(text.c_str());
}

void CURLLogger::log_exchange(const curl_response& response, long long sent) const {
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PERF      ] Upload %db/s / Download %db/s : %s(%d / %d bytes)",
           as_int(response.upload_speed), as_int(response.download_speed), GetURL().c_str(), as_int(sent),
           as_int(response.body_length));
}

}  // namespace ftp_plugin
