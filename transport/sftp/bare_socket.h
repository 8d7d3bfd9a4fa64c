// A bare connection to the server, opened by libcurl: direct or over whichever proxy the settings name.
#pragma once

#include <curl/curl.h>

#include <chrono>

#include "common/owner.h"
#include "common/pinned.h"
#include "transport/server_settings.h"

namespace ftp_plugin {

/// Owns the socket. One thread at a time.
class bare_socket : pinned {
 public:
  bare_socket() = default;
  ~bare_socket();

  /// Connects to the server of the SFTP URL within `limit`. Once per object. Returns libcurl's
  /// code.
  [[nodiscard]] CURLcode open(const server_settings& server, std::chrono::milliseconds limit);

  /// The connected socket, in non-blocking mode; CURL_SOCKET_BAD before a successful open().
  [[nodiscard]] curl_socket_t get() const noexcept { return socket_; }

  /// Ends the conversation both ways: from here on neither sending nor receiving waits.
  void shut_down() noexcept;

 private:
  owner<CURL, curl_easy_cleanup> curl_;
  curl_socket_t socket_ = CURL_SOCKET_BAD;
};

}  // namespace ftp_plugin
