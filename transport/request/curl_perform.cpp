// How the request object performs: options, run, and the response taken apart.
#include <event2/buffer.h>

#include <algorithm>

#include "common/owner.h"
#include "transport/request/curl_callbacks.h"
#include "transport/request/curl_impl.h"
#include "transport/sigpipe_guard.h"

namespace ftp_plugin {
namespace {

using byte_buffer = owner<evbuffer, evbuffer_free>;

/// What a perform leaves on the handle must not point into the call that is over: lists, buffers, cursors and
/// posted texts go when the scope is left, also by an exception.
class borrowed_options : pinned {
 public:
  explicit borrowed_options(CURL* curl) noexcept : curl_{curl} {}
  ~borrowed_options() {
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, nullptr);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, nullptr);
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &discard_body);
    curl_easy_setopt(curl_, CURLOPT_READFUNCTION, nullptr);
    curl_easy_setopt(curl_, CURLOPT_READDATA, nullptr);
    curl_easy_setopt(curl_, CURLOPT_SEEKFUNCTION, nullptr);
    curl_easy_setopt(curl_, CURLOPT_SEEKDATA, nullptr);
    if (body_ != CURLOPT_LASTENTRY) curl_easy_setopt(curl_, body_, nullptr);
  }
  /// Sets the option that holds the posted text or form. Only then is it reset: that alone would make the
  /// handle's next request a POST.
  template <class Body>
  void set_body(CURLoption option, Body* body) noexcept {
    body_ = option;
    curl_easy_setopt(curl_, option, body);
  }

 private:
  CURL* curl_;
  CURLoption body_ = CURLOPT_LASTENTRY;
};

/// Moves `length` bytes out of the buffer into a text of its own, closed by a zero byte.
std::shared_ptr<char[]> take(evbuffer* buffer, std::size_t length) {
  std::shared_ptr<char[]> text{new char[length + 1]};
  if (length != 0) (void)evbuffer_remove(buffer, text.get(), length);
  text.get()[length] = '\0';
  return text;
}

/// Runs the request. `collected` is null when the caller's own function takes the response.
curl_response perform(CURL* curl, evbuffer* collected) {
  curl_response response;
  {
    const sigpipe_guard guard;
    response.result = curl_easy_perform(curl);
  }
  if (response.result != CURLE_OK) return response;
  long header_size = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.response_code);
  curl_easy_getinfo(curl, CURLINFO_HEADER_SIZE, &header_size);
  curl_easy_getinfo(curl, CURLINFO_SPEED_DOWNLOAD, &response.download_speed);
  curl_easy_getinfo(curl, CURLINFO_SPEED_UPLOAD, &response.upload_speed);
  if (collected == nullptr) return response;
  const std::size_t total = evbuffer_get_length(collected);
  response.header_length = std::min(total, static_cast<std::size_t>(std::max(header_size, 0L)));
  response.body_length = total - response.header_length;
  response.header = take(collected, response.header_length);
  response.body = take(collected, response.body_length);
  return response;
}

}  // namespace

curl_response CURLImpl::PerformGet(void* write_function, void* write_data) {
  CURL* curl = GetCURL();
  if (curl == nullptr) return {};
  byte_buffer collected;
  if (write_function == nullptr) {
    collected.reset(evbuffer_new());
    if (collected == nullptr) return {};
    write_function = reinterpret_cast<void*>(&append_to_buffer);
    write_data = collected.get();
  }
  std::string url = url_;
  const std::string query = BuildQueryString(true);
  // Kept on purpose: "?" even when the URL holds one already, unlike PerformPost; such a URL would change for
  // whoever signs it. Pinned by PerformGet.JoinsTheQueryWithAQuestionMarkInEveryCase.
  if (!query.empty()) url += '?' + query;
  const command_list headers = BuildHeader();
  const borrowed_options borrowed{curl};
  if (collected != nullptr) curl_easy_setopt(curl, CURLOPT_HEADER, 1L);
  if (!request_.empty()) curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request_.c_str());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, write_data);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, reinterpret_cast<curl_write_callback>(write_function));
  return perform(curl, collected.get());
}

curl_response CURLImpl::PerformPost(std::string body) {
  read_cursor cursor{body.data(), 0, body.size()};
  return PerformPost(reinterpret_cast<void*>(&read_from_cursor), &cursor, -1);
}

curl_response CURLImpl::PerformPost(void* read_function, void* read_data, long long size) {
  CURL* curl = GetCURL();
  if (curl == nullptr) return {};
  const byte_buffer collected{evbuffer_new()};
  if (collected == nullptr) return {};
  const std::string query = BuildQueryString(true);
  const command_list headers = BuildHeader();
  std::string url = url_;
  if (read_function != nullptr && !query.empty()) {
    url += url.find('?') == std::string::npos ? '?' : '&';
    url += query;
  }
  borrowed_options borrowed{curl};
  if (read_function != nullptr && read_data != nullptr && size == -1) {
    curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, &seek_cursor);
    curl_easy_setopt(curl, CURLOPT_SEEKDATA, read_data);
  }
  if (!request_.empty()) curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request_.c_str());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_POST, 1L);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl, CURLOPT_HEADER, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, collected.get());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &append_to_buffer);
  if (form_ != nullptr) {
    borrowed.set_body(CURLOPT_HTTPPOST, form_.get());
  } else {
    size = std::max(size, -1LL);
    // libcurl reads that many bytes of the posted text without looking for its end.
    if (read_function == nullptr) size = std::min(size, static_cast<long long>(query.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
  }
  if (read_function != nullptr) {
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, reinterpret_cast<curl_read_callback>(read_function));
    curl_easy_setopt(curl, CURLOPT_READDATA, read_data);
  } else if (form_ == nullptr) {  // after a form, libcurl would post this text and forget the form
    borrowed.set_body(CURLOPT_POSTFIELDS, query.c_str());
  }
  return perform(curl, collected.get());
}

}  // namespace ftp_plugin
