// The request object of every pooled connection: it traces what it does into the host's log, keeps libcurl's
// error text and the last URL. With no logger bound it only does the requests.
#pragma once

#include <curl/curl.h>

#include <string>

#include "transport/request/curl_impl.h"

namespace ftp_plugin {

class CURLLogger : public CURLImpl {
 public:
  CURLLogger();
  ~CURLLogger() override;

  /// As the base does; each writes one throughput line afterwards, after failures too. The text form of
  /// PerformPost runs through the other one and so writes two.
  [[nodiscard]] curl_response PerformGet(void* write_function, void* write_data) override;
  [[nodiscard]] curl_response PerformPost(std::string body) override;
  [[nodiscard]] curl_response PerformPost(void* read_function, void* read_data, long long size) override;

  /// Switches libcurl's trace on when the bound logger says that it is tracing, off when it says no, and
  /// leaves it as it is when no logger is bound.
  void InstallLogger();

  /// URL with query of the last performed request, unescaped; "" before the first.
  [[nodiscard]] std::string GetLastURL() const { return lastURL; }

  /// libcurl's text for the last failure; "" when there is none. Valid until the next request.
  [[nodiscard]] const char* GetErrorText() const noexcept { return errorBuffer; }

 private:
  void begin_request();
  void log_exchange(const curl_response& response, long long sent) const;

  char errorBuffer[CURL_ERROR_SIZE] = {};
  std::string lastURL;
};

static_assert(CURL_ERROR_SIZE == 256);

}  // namespace ftp_plugin
