// The SFTP channel of one connection, beside its libcurl handle, for what libcurl cannot ask: the attributes
// of one path, and a listing with exact times and whole names.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>

#include "common/pinned.h"
#include "transport/server_settings.h"
#include "transport/sftp/sftp_attributes.h"
#include "transport/sftp/sftp_session.h"

namespace ftp_plugin {

/// Logs in at the first request, with the settings of its connection, and stays logged in. Belongs to one
/// connection and so to one thread at a time. When the server has hung up since the last request, the
/// channel logs in once more, and the caller does not notice; any later failure stands. Results are those of
/// sftp_session.
class sftp_channel : pinned {
 public:
  /// No traffic yet. `server` must outlive the channel.
  explicit sftp_channel(const server_settings& server, sftp_limits limits = {}) noexcept
      : server_{server}, limits_{limits} {}

  /// Attributes of `path`, links followed; `out` stays as it is on failure. A path that does not begin with
  /// "/", and what follows "/~/", start at the home directory; "" and "/~" are the home directory.
  [[nodiscard]] CURLcode stat(const std::string& path, sftp_attributes& out);

  /// The same, the record handed to the write callback `deliver` with `userdata`. CURLE_WRITE_ERROR when that
  /// does not take it whole.
  [[nodiscard]] CURLcode stat(const std::string& path,
                              std::size_t (*deliver)(void* data, std::size_t size, std::size_t nmemb,
                                                     void* userdata),
                              void* userdata);

  /// Hands the entries of directory `path` to `sink`. On failure it has got a part of them.
  [[nodiscard]] CURLcode list(const std::string& path, sftp_entry_sink& sink);

  /// Ends the session. A later request would log in again.
  void close() noexcept { session_.reset(); }

 private:
  template <class Request>
  [[nodiscard]] CURLcode run(Request&& request);
  [[nodiscard]] CURLcode open();

  const server_settings& server_;
  sftp_limits limits_;
  std::unique_ptr<sftp_session> session_;
};

}  // namespace ftp_plugin
