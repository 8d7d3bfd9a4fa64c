#include "transport/request/curl_impl.h"

#include "boundary/log.h"
#include "transport/curl_global.h"
#include "transport/curl_text.h"
#include "transport/limits.h"
#include "transport/request/curl_callbacks.h"
#include "transport/sigpipe_guard.h"

namespace ftp_plugin {
namespace {

constexpr long kMaxRedirects = 32;

CURL* new_handle() noexcept {
  start_curl();
  return curl_easy_init();
}

void free_handle(CURL* curl) noexcept {
  const sigpipe_guard guard;  // TLS says goodbye on connections that are still open
  curl_easy_cleanup(curl);
}

}  // namespace

CURLImpl::CURLImpl() : handle_{new_handle(), free_handle} {
  CURL* curl = GetCURL();
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, connectTimeout);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kLowSpeedBytes);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, kLowSpeedSeconds);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMaxRedirects);
  curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "Nimbora(gzip)");
  // Off by design for every request: the servers that people synchronise with sign their own certificates.
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &discard_body);
}

CURLImpl::~CURLImpl() = default;

void CURLImpl::Clear() {
  CURL* curl = GetCURL();
  progress_ = {};
  form_.reset();
  url_.clear();
  request_.clear();
  curl_easy_setopt(curl, CURLOPT_HEADER, 0L);
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, nullptr);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, nullptr);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &discard_body);
  curl_easy_setopt(curl, CURLOPT_READFUNCTION, nullptr);
  curl_easy_setopt(curl, CURLOPT_READDATA, nullptr);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, nullptr);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{0});
  curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, nullptr);
  curl_easy_setopt(curl, CURLOPT_SEEKDATA, nullptr);
  curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, curl_off_t{0});
  curl_easy_setopt(curl, CURLOPT_MAX_SEND_SPEED_LARGE, curl_off_t{0});
  curl_easy_setopt(curl, CURLOPT_MAX_RECV_SPEED_LARGE, curl_off_t{0});
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 1L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, nullptr);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, nullptr);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, kLowSpeedSeconds);
  curl_easy_setopt(curl, CURLOPT_PROXY, nullptr);
  query_.clear();
  headers_.clear();
}

void CURLImpl::SetURL(const char* url) { url_ = text_or_empty(url); }

void CURLImpl::SetRequest(const char* request) { request_ = text_or_empty(request); }

void CURLImpl::SetPost(curl_httppost* form) noexcept {
  if (form != form_.get()) form_.reset(form);
}

std::string CURLImpl::BuildQueryString(bool escape) const {
  std::string text;
  for (const auto& [name, value] : query_) {
    if (!text.empty()) text += '&';
    text += name;
    text += '=';
    text += escape ? Escape(value.c_str()) : value;
  }
  return text;
}

command_list CURLImpl::BuildHeader() const {
  command_list lines;
  for (const auto& [name, value] : headers_) add(lines, name + ": " + value);
  return lines;
}

std::string CURLImpl::Escape(const char* text) const {
  if (text == nullptr) return {};
  const curl_text escaped{curl_easy_escape(GetCURL(), text, 0)};
  return text_or_empty(escaped.get());
}

std::string CURLImpl::Unescape(const char* text) const {
  if (text == nullptr) return {};
  int length = 0;
  const curl_text plain{curl_easy_unescape(GetCURL(), text, 0, &length)};
  if (plain == nullptr) return {};
  return {plain.get(), static_cast<std::size_t>(length)};
}

void CURLImpl::SetProxy(int type, const std::string& host, int port, const std::string& user,
                        const std::string& password) {
  CURL* curl = GetCURL();
  curl_easy_setopt(curl, CURLOPT_PROXYTYPE, static_cast<long>(type));
  curl_easy_setopt(curl, CURLOPT_PROXY, host.c_str());
  curl_easy_setopt(curl, CURLOPT_PROXYPORT, static_cast<long>(port));
  // Two options instead of one "user:password" text, so that a user name may hold a colon.
  curl_easy_setopt(curl, CURLOPT_PROXYUSERNAME, user.empty() ? nullptr : user.c_str());
  curl_easy_setopt(curl, CURLOPT_PROXYPASSWORD, password.empty() ? nullptr : password.c_str());
}

void CURLImpl::SetSpeedLimit(long long bytes_per_second) noexcept {
  curl_easy_setopt(GetCURL(), CURLOPT_MAX_SEND_SPEED_LARGE, static_cast<curl_off_t>(bytes_per_second));
  curl_easy_setopt(GetCURL(), CURLOPT_MAX_RECV_SPEED_LARGE, static_cast<curl_off_t>(bytes_per_second));
}

void CURLImpl::SetLowSpeedTimeout(long seconds) noexcept {
  curl_easy_setopt(GetCURL(), CURLOPT_LOW_SPEED_TIME, seconds);
}

void CURLImpl::SetSendBuffer() noexcept {
  curl_easy_setopt(GetCURL(), CURLOPT_SOCKOPTFUNCTION, &enlarge_send_buffer);
}

void CURLImpl::SetPostFileSize(long long size) noexcept {
  curl_easy_setopt(GetCURL(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
}

void CURLImpl::BindHandle(const std::shared_ptr<_FS_HANDLE>& handle) noexcept {
  bind(handle, &_CURL_PROGRESS);
}

void CURLImpl::BindHandleForDownload(const std::shared_ptr<_FS_HANDLE>& handle) noexcept {
  bind(handle, &_CURL_PROGRESS_DOWNLOAD);
}

void CURLImpl::bind(const std::shared_ptr<_FS_HANDLE>& handle, curl_xferinfo_callback report) noexcept {
  progress_ = bind_progress(handle.get(), GetCURL());
  curl_easy_setopt(GetCURL(), CURLOPT_XFERINFOFUNCTION, report);
  curl_easy_setopt(GetCURL(), CURLOPT_XFERINFODATA, &progress_);
  curl_easy_setopt(GetCURL(), CURLOPT_NOPROGRESS, 0L);
}

}  // namespace ftp_plugin
