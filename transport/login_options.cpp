#include "transport/login_options.h"

#include <new>
#include <stdexcept>

#include "transport/curl_trace.h"

namespace ftp_plugin {
namespace {

/// Sets one option. A number that libcurl refuses (a port that is none) stays at libcurl's default.
template <class Value>
void set_option(CURL* curl, CURLoption option, Value value) {
  curl_easy_setopt(curl, option, value);
}

/// Sets one text. Without it a login must not go on: it would be an anonymous one, or one around the proxy.
void set_option(CURL* curl, CURLoption option, const char* text) {
  const CURLcode code = curl_easy_setopt(curl, option, text);
  if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc{};
  if (code != CURLE_OK) throw std::length_error{"libcurl takes no text of this length"};
}

/// The value that means "do not check the certificate's host name". libcurl took 1 for that until 7.66, which
/// reads 1 as 2: the name is checked, and a certificate for another name ends the login with code 60.
long unchecked_host_name() {
  constexpr unsigned int kOneMeansTwo = 0x074200;  // 7.66.0
  return curl_version_info(CURLVERSION_NOW)->version_num >= kOneMeansTwo ? 0L : 1L;
}

}  // namespace

void set_credentials(CURL* curl, const credentials& login) {
  if (!login.user.empty()) set_option(curl, CURLOPT_USERNAME, login.user.c_str());
  if (!login.key_file.empty()) {
    set_option(curl, CURLOPT_SSH_AUTH_TYPES, static_cast<long>(CURLSSH_AUTH_PUBLICKEY));
    set_option(curl, CURLOPT_SSH_PRIVATE_KEYFILE, login.key_file.c_str());
    set_option(curl, CURLOPT_KEYPASSWD, login.pass_phrase.c_str());
  }
  if (!login.password.empty()) set_option(curl, CURLOPT_PASSWORD, login.password.c_str());
}

void set_proxy_options(CURL* curl, const proxy_settings& proxy) {
  // Everything comes from the host: without these two libcurl would ask the environment for a proxy, or for
  // the hosts to be reached without the one that is configured.
  set_option(curl, CURLOPT_PROXY, proxy.host.c_str());
  set_option(curl, CURLOPT_NOPROXY, "");
  switch (proxy.kind) {
    case proxy_kind::kNone:
      return;
    case proxy_kind::kSocks4:
      set_option(curl, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS4));
      break;
    case proxy_kind::kSocks5:
      set_option(curl, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS5));
      break;
    case proxy_kind::kHttpTunnel:
    case proxy_kind::kHttp:
      set_option(curl, CURLOPT_HTTPPROXYTUNNEL, proxy.kind == proxy_kind::kHttpTunnel ? 1L : 0L);
      set_option(curl, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_HTTP));
      break;
    case proxy_kind::kUnnamed:
      break;
  }
  set_option(curl, CURLOPT_PROXYPORT, proxy.port);
  if (!proxy.credentials.empty()) set_option(curl, CURLOPT_PROXYUSERPWD, proxy.credentials.c_str());
}

void set_login_options(CURL* curl, const server_settings& server) {
  set_option(curl, CURLOPT_URL, server.url.c_str());
  // A URL with any other scheme must fail the login, not read local files or talk HTTP.
  set_option(curl, CURLOPT_PROTOCOLS_STR, "ftp,ftps,sftp");
  if (server.asks_for_tls) {
    set_option(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    set_option(curl, CURLOPT_SSL_VERIFYHOST, unchecked_host_name());
    set_option(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  }
  set_credentials(curl, server.login);
  set_proxy_options(curl, server.proxy);
  if (server.active_mode) set_option(curl, CURLOPT_FTPPORT, "-");
  set_option(curl, CURLOPT_NOBODY, 1L);
  set_option(curl, CURLOPT_VERBOSE, 1L);
  set_option(curl, CURLOPT_DEBUGFUNCTION, &CURLDebug);
}

}  // namespace ftp_plugin
