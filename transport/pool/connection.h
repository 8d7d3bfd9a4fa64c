// One logged-in control channel to the server: a libcurl handle that was configured from the server's
// settings. The pool makes connections and lends each to one operation at a time; a connection has no lock of
// its own.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <memory>
#include <string>

#include "boundary/abi/error_codes.h"
#include "common/pinned.h"
#include "transport/ftp/request_driver.h"
#include "transport/piece_taker.h"
#include "transport/pool/file_range.h"
#include "transport/request/curl_logger.h"
#include "transport/request/progress.h"
#include "transport/server_settings.h"
#include "transport/settings.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {

class connection : pinned {
 public:
  /// No handle yet and no traffic.
  explicit connection(server_settings server);
  explicit connection(const settings_map& settings) : connection{read_settings(settings)} {}
  /// Says goodbye (see quit) and frees the handle.
  ~connection();

  /// Logs in with a body-less request on the base URL. SUCCESS keeps the handle; ACCESS_DENIED: login
  /// refused; PATH_NOT_FOUND: server not reached; FAILED: anything else. A failure leaves the connection as
  /// it was.
  [[nodiscard]] AERROR connect();

  /// The libcurl handle, or null while there has been no successful login.
  [[nodiscard]] CURL* GETCURL() const noexcept;
  /// The request object around the handle; null while there has been no successful login.
  [[nodiscard]] CURLLogger* request() const noexcept { return curl_.get(); }

  /// Base URL of the server, scheme included; empty when the settings have none.
  [[nodiscard]] std::string get_url() const { return server_.url; }

  /// Runs the request that the caller configured on the handle; undoes nothing. `connect_timeout` in seconds.
  /// The second argument is ignored. CURLE_FAILED_INIT without a handle.
  [[nodiscard]] CURLcode exec(long connect_timeout, bool ignored);

  // connection_read.cpp
  /// Hands the bytes of `range` to `taker`, fewer where the file ends before the range does. Repeated under
  /// the one repeat rule. Undoes what it set on the handle, but for the speed limit, which the caller sets.
  /// Returns what a ranged download of libcurl's would; CURLE_WRITE_ERROR for a stop by the host. An early
  /// end costs an FTP login only where the server or the connection type does not allow for it.
  [[nodiscard]] CURLcode read(const file_range& range, piece_taker& taker);

  /// Sends "QUIT" to an FTP server over the control connection that is open, and waits at most 10 s for the
  /// answer. Sends nothing without such a connection, and nothing on SFTP.
  void quit();

  /// quit, then the request object's Clear. The next request would log in again.
  void close();

  /// What libcurl cannot ask an SFTP server: an SSH session of this connection's own, logged in at its first
  /// request. Its results are libcurl codes; it neither needs nor changes the handle.
  [[nodiscard]] sftp_channel& sftp() noexcept { return sftp_; }

  /// Who hears the commands and replies of the next requests; null for nobody. See control_listener.
  void listen(control_listener* listener) noexcept { listener_ = listener; }

  /// Makes the next request begin on a fresh control connection.
  void forget_control() noexcept;

  [[nodiscard]] bool is_sftp() const noexcept { return server_.is_sftp(); }

 private:
  friend class lease;
  friend class transfer;

  /// Goes back to the login directory when `moves`, the number of folders moved so far, has changed since the
  /// last call: the directory that this connection stands in may have another name now. To be called before
  /// the request's options are set.
  void leave_moved_folder(std::uint64_t moves);

  /// Lines of replies are appended to `copy` as well, until it is null again.
  void copy_replies_to(byte_vector* copy) noexcept { driver_->copy_replies_to(copy); }

  /// What every request begins with: a control connection that is in step, and the options that all share.
  void begin_request(long connect_timeout);
  /// What every request ends with, while its URL is still set; `code` is its result.
  void end_request(CURLcode code);

  // connection_read.cpp
  [[nodiscard]] bool can_end_early(const std::string& url) const;
  [[nodiscard]] CURLcode read_piece(const file_range& range, piece_taker& taker);
  [[nodiscard]] CURLcode read_libcurl_range(const file_range& range, piece_taker& taker);

  server_settings server_;
  sftp_channel sftp_{server_};
  progress_binding upload_progress_{};  // of the last upload; stays set on the handle
  control_listener* listener_ = nullptr;
  std::uint64_t folder_moves_ = 0;
  bool tls_may_just_end_ = false;           // the TLS of this connection's libcurl
  bool server_tells_of_ends_ = true;        // that come early; some servers do not always
  std::unique_ptr<request_driver> driver_;  // outlives the handle, see request_driver
  std::shared_ptr<CURLLogger> curl_;
};

}  // namespace ftp_plugin
