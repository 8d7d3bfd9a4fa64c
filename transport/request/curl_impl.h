// The request object: one libcurl easy handle and the state of one request. Operations use the bare handle,
// SetSpeedLimit and Clear. No operation calls the web side (form, query, headers, the three performs): it
// belongs to the library by contract.
//
// One thread at a time. A request object is used for any number of requests, each followed by Clear(). What
// libcurl refuses shows in the result of the next perform; nothing here throws on a failed transfer, and
// std::bad_alloc is the only exception.
#pragma once

#include <curl/curl.h>

#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <unordered_map>

#include "boundary/abi/transfer_handle.h"
#include "common/owner.h"
#include "common/pinned.h"
#include "transport/command_list.h"
#include "transport/limits.h"
#include "transport/request/curl_response.h"
#include "transport/request/progress.h"

namespace ftp_plugin {

class CURLImpl : pinned {
 public:
  using text_map = std::unordered_map<std::string, std::string>;

  /// Makes the handle and sets its defaults: time limits, no signals, redirects followed, certificates not
  /// checked, the response body discarded until a request says where it goes.
  CURLImpl();
  virtual ~CURLImpl();

  // The order of these operations is fixed: destructor, Clear, PerformGet, the two PerformPost.

  /// Forgets the request: form, query, headers, URL, method, callbacks, limits and proxy. The handle, its
  /// login and its open connection stay.
  virtual void Clear();

  /// Requests the URL with the escaped query. `write_function` is a curl_write_callback and gets
  /// `write_data`; when it is null, headers and body are collected into the response.
  [[nodiscard]] virtual curl_response PerformGet(void* write_function, void* write_data);

  /// Posts `body`, sent in chunks; the query goes into the URL.
  [[nodiscard]] virtual curl_response PerformPost(std::string body);

  /// Posts what `read_function` (a curl_read_callback, called with `read_data`) delivers; `size` is the
  /// number of bytes, or -1 when it is not known. With -1, `read_data` must be null or a read_cursor: it is
  /// rewound through seek_cursor when the body has to be sent again.
  /// Without a read function the escaped query is the body, `size` of its bytes or all of it for -1.
  /// A form given to SetPost is the body in either case.
  [[nodiscard]] virtual curl_response PerformPost(void* read_function, void* read_data, long long size);

  /// The raw handle; null only when libcurl could not make one. Lives as long as this object.
  [[nodiscard]] CURL* GetCURL() const noexcept { return handle_.get(); }

  /// The base URL, without query. Null counts as "".
  void SetURL(const char* url);
  [[nodiscard]] std::string GetURL() const { return url_; }

  /// A method of its own instead of GET or POST; "" or null for none.
  void SetRequest(const char* request);
  [[nodiscard]] std::string GetRequest() const { return request_; }

  /// Takes the form over; it is freed by Clear, by the next form and with this object.
  void SetPost(curl_httppost* form) noexcept;

  [[nodiscard]] text_map GetQuery() const { return query_; }
  [[nodiscard]] text_map GetHeader() const { return headers_; }

  /// Stores `value`, as a stream writes it, under `name`; a later value replaces an earlier one.
  template <class T>
  void AddQuery(const char* name, const T& value) {
    query_[name] = as_text(value);
  }
  template <class T>
  void AddHeader(const char* name, const T& value) {
    headers_[name] = as_text(value);
  }

  /// "name=value" pairs joined by "&", in the order of the map. `escape` concerns the values only.
  [[nodiscard]] std::string BuildQueryString(bool escape) const;

  /// One line "name: value" for each header.
  [[nodiscard]] command_list BuildHeader() const;

  /// Percent-encodes and decodes. "" for null and when libcurl fails.
  [[nodiscard]] std::string Escape(const char* text) const;
  [[nodiscard]] std::string Unescape(const char* text) const;

  /// Sends the request through a proxy. `type` is a curl_proxytype; user and password may be empty.
  void SetProxy(int type, const std::string& host, int port, const std::string& user,
                const std::string& password);

  /// Does nothing: the constructor's defaults apply already.
  void SetSSLDefaults() noexcept {}

  /// Bytes per second in both directions; 0 lifts the limit.
  void SetSpeedLimit(long long bytes_per_second) noexcept;

  /// Seconds below one byte per second after which a transfer is given up; Clear goes back to 20.
  void SetLowSpeedTimeout(long seconds) noexcept;

  /// Asks for a send buffer of 1 MiB on every socket opened from now on.
  void SetSendBuffer() noexcept;

  /// Number of bytes of an upload.
  void SetPostFileSize(long long size) noexcept;

  /// Reports the progress of uploads or of downloads to the host's handle. Copies its function and context,
  /// so the handle may go. Null reports nothing.
  void BindHandle(const std::shared_ptr<_FS_HANDLE>& handle) noexcept;
  void BindHandleForDownload(const std::shared_ptr<_FS_HANDLE>& handle) noexcept;

  /// libcurl's text for a result code. Constant; never null.
  [[nodiscard]] static const char* ErrorString(CURLcode code) noexcept { return curl_easy_strerror(code); }

 private:
  template <class T>
  static std::string as_text(const T& value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());  // the host's locale must not group the digits of a number
    out << value;
    return std::move(out).str();
  }
  void bind(const std::shared_ptr<_FS_HANDLE>& handle, curl_xferinfo_callback report) noexcept;

  std::shared_ptr<CURL> handle_;
  owner<curl_httppost, curl_formfree> form_;
  progress_binding progress_;
  text_map query_;
  text_map headers_;
  std::string url_;
  std::string request_;
  long connectTimeout = kConnectTimeoutSeconds;
};

}  // namespace ftp_plugin
