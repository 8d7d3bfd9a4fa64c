#include "transport/login_options.h"

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// Value under `name` when it is present and not empty, else null.
const std::string* non_empty(const settings_map& settings, const char* name) {
  const std::string* found = find_setting(settings, name);
  return found == nullptr || found->empty() ? nullptr : found;
}

/// The value that means "do not check the certificate's host name". libcurl took 1 for that until 7.66, which
/// reads 1 as 2: the name is checked, and a certificate for another name ends the login with code 60.
long unchecked_host_name() {
  constexpr unsigned int kOneMeansTwo = 0x074200;  // 7.66.0
  return curl_version_info(CURLVERSION_NOW)->version_num >= kOneMeansTwo ? 0L : 1L;
}

void set_proxy_credentials(CURL* curl, const settings_map& settings) {
  std::string text;
  if (const std::string* user = find_setting(settings, key::proxy_user)) text = *user;
  if (const std::string* password = find_setting(settings, key::proxy_pwd)) text += ":" + *password;
  if (!text.empty()) set_option(curl, CURLOPT_PROXYUSERPWD, text.c_str());
}

}  // namespace

bool wants_tls(const settings_map& settings) {
  constexpr std::string_view kImplicit = "ftps://";
  const std::string* url = find_setting(settings, key::url);
  return setting_is(settings, key::ssl, "true") ||
         (url != nullptr && url->compare(0, kImplicit.size(), kImplicit) == 0);
}

bool names_scheme(const settings_map& settings) {
  const std::string* url = find_setting(settings, key::url);
  return url != nullptr &&
         (url->starts_with("ftp://") || url->starts_with("ftps://") || url->starts_with("sftp://"));
}

bool fit_into_commands(const settings_map& settings) {
  for (const char* name : {key::user, key::pwd}) {
    const std::string* text = find_setting(settings, name);
    if (text != nullptr && text->find_first_of("\r\n") != std::string::npos) return false;
  }
  return true;
}

void set_credentials(CURL* curl, settings_map& settings) {
  if (const std::string* user = non_empty(settings, key::user)) {
    set_option(curl, CURLOPT_USERNAME, user->c_str());
  }
  const std::string* password = non_empty(settings, key::pwd);
  if (setting_is(settings, key::type, "sftp") && non_empty(settings, key::key_file) != nullptr) {
    set_option(curl, CURLOPT_SSH_AUTH_TYPES, static_cast<long>(CURLSSH_AUTH_PUBLICKEY));
    set_option(curl, CURLOPT_SSH_PRIVATE_KEYFILE, setting(settings, key::key_file).c_str());
    // Kept on purpose: the proxy password is the first candidate for the key's pass phrase.
    set_option(curl, CURLOPT_KEYPASSWD, setting(settings, key::proxy_pwd).c_str());
    if (password != nullptr) {
      set_option(curl, CURLOPT_KEYPASSWD, password->c_str());
      return;  // a pass phrase only, never the login password
    }
  }
  if (password != nullptr) set_option(curl, CURLOPT_PASSWORD, password->c_str());
}

void set_proxy_options(CURL* curl, const settings_map& settings) {
  // Everything comes from the host: without these two libcurl would ask the environment for a proxy, or for
  // the hosts to be reached without the one that is configured.
  set_option(curl, CURLOPT_PROXY, "");
  set_option(curl, CURLOPT_NOPROXY, "");
  const std::string* type = find_setting(settings, key::proxy_type);
  if (type == nullptr || *type == "None") return;
  set_option(curl, CURLOPT_VERBOSE, 1L);
  if (*type == "SOCKS4") {
    set_option(curl, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS4));
  } else if (*type == "SOCKS5") {
    set_option(curl, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS5));
  } else if (*type == "HTTP with TUNNEL" || *type == "HTTP without TUNNEL") {
    set_option(curl, CURLOPT_HTTPPROXYTUNNEL, *type == "HTTP with TUNNEL" ? 1L : 0L);
    set_option(curl, CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_HTTP));
  }
  if (const std::string* host = find_setting(settings, key::proxy_host)) {
    set_option(curl, CURLOPT_PROXY, host->c_str());
  }
  if (const std::string* port = find_setting(settings, key::proxy_port)) {
    set_option(curl, CURLOPT_PROXYPORT, static_cast<long>(std::atoi(port->c_str())));
  }
  set_proxy_credentials(curl, settings);
}

void set_login_options(CURL* curl, settings_map& settings) {
  set_option(curl, CURLOPT_URL, setting(settings, key::url).c_str());
  // A URL with any other scheme must fail the login, not read local files or talk HTTP.
  set_option(curl, CURLOPT_PROTOCOLS_STR, "ftp,ftps,sftp");
  if (setting_is(settings, key::ssl, "true")) {
    set_option(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    set_option(curl, CURLOPT_SSL_VERIFYHOST, unchecked_host_name());
    set_option(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  }
  set_credentials(curl, settings);
  set_proxy_options(curl, settings);
  if (setting_is(settings, key::active, "true")) set_option(curl, CURLOPT_FTPPORT, "-");
  set_option(curl, CURLOPT_NOBODY, 1L);
  set_option(curl, CURLOPT_VERBOSE, 1L);
  set_option(curl, CURLOPT_DEBUGFUNCTION, &CURLDebug);
}

}  // namespace ftp_plugin
