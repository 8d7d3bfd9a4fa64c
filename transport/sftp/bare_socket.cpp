#include "transport/sftp/bare_socket.h"

#include <sys/socket.h>

#include <string>

#include "transport/curl_global.h"
#include "transport/curl_trace.h"
#include "transport/login_options.h"
#include "transport/sftp/ssh_login.h"
#include "transport/sigpipe_guard.h"

namespace ftp_plugin {
namespace {

curl_socket_t open_socket(void*, curlsocktype, struct curl_sockaddr* address) noexcept {
  // Not for the programs that the host starts.
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace

bare_socket::~bare_socket() {
  const sigpipe_guard guard;
  curl_.reset();
}

CURLcode bare_socket::open(const server_settings& server, std::chrono::milliseconds limit) {
  start_curl();
  const std::string url = bare_connection_url(server.url);
  if (url.empty()) return CURLE_URL_MALFORMAT;
  curl_.reset(curl_easy_init());
  CURL* curl = curl_.get();
  if (curl == nullptr) return CURLE_OUT_OF_MEMORY;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CONNECT_ONLY, 1L);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limit.count()));
  curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &open_socket);
  set_proxy_options(curl, server.proxy);
  curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
  curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, &CURLDebug);
  const sigpipe_guard guard;
  const CURLcode code = curl_easy_perform(curl);
  if (code != CURLE_OK) return code;
  return curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &socket_);
}

void bare_socket::shut_down() noexcept {
  if (socket_ != CURL_SOCKET_BAD) shutdown(socket_, SHUT_RDWR);
}

}  // namespace ftp_plugin
