// What the tests of the request object as a web client share.
#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tests/unit/transport/http_responder.h"
#include "transport/request/curl_impl.h"

namespace ftp_plugin {

inline void* as_pointer(std::size_t (*function)(char*, std::size_t, std::size_t, void*) noexcept) {
  return reinterpret_cast<void*>(function);
}

inline std::string header_of(const curl_response& response) {
  return {response.header.get(), response.header_length};
}
inline std::string body_of(const curl_response& response) {
  return {response.body.get(), response.body_length};
}

inline std::size_t append_to_string(char* data, std::size_t size, std::size_t count, void* text) noexcept {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

/// Gets `url`; the test fails when the request does.
inline void expect_get(CURLImpl& request, const std::string& url) {
  request.SetURL(url.c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
}
/// Posts `text` to `url`; the test fails when the request does.
inline void expect_post(CURLImpl& request, const std::string& url, const char* text) {
  request.SetURL(url.c_str());
  EXPECT_EQ(request.PerformPost(text).result, CURLE_OK);
}

/// A form of one field, for SetPost to own.
inline curl_httppost* new_form() {
  curl_httppost* first = nullptr;
  curl_httppost* last = nullptr;
  curl_formadd(&first, &last, CURLFORM_COPYNAME, "field", CURLFORM_COPYCONTENTS, "form value", CURLFORM_END);
  return first;
}

}  // namespace ftp_plugin
