#include "transport/ftp/tls_end.h"

#include <openssl/ssl.h>

#include <string_view>

namespace ftp_plugin {
namespace {

CURLcode allow_the_end(CURL*, void* context, void*) noexcept {
  SSL_CTX_set_options(static_cast<SSL_CTX*>(context), SSL_OP_IGNORE_UNEXPECTED_EOF);
  return CURLE_OK;
}

/// Another TLS library hands out another kind of context.
bool libcurl_uses_openssl_3() noexcept {
  const char* library = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return library != nullptr && std::string_view{library}.starts_with("OpenSSL/3.");
}

}  // namespace

bool accept_end_without_goodbye(CURL* curl) noexcept {
  return libcurl_uses_openssl_3() &&
         curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &allow_the_end) == CURLE_OK;
}

}  // namespace ftp_plugin
