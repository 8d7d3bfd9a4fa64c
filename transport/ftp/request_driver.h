// Runs the requests of one connection. libcurl 7.88.1 stalls in curl_easy_perform: on TLS it waits for the
// data socket while the reply is due on the control socket, and an EPSV reply that is already there can cost
// plain FTP a second. A private multi handle that also watches the control socket gives the same results at
// once.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <string_view>
#include <vector>

#include "common/owner.h"
#include "common/pinned.h"
#include "transport/byte_sink.h"
#include "transport/ftp/answer_class.h"
#include "transport/ftp/byte_account.h"
#include "transport/ftp/data_cut.h"
#include "transport/ftp/reply_account.h"

namespace ftp_plugin {

/// Hears what is said on the control connection while a request runs.
class control_listener {
 public:
  /// libcurl has sent `command`, line end included.
  virtual void sent(std::string_view command) noexcept = 0;
  /// The server has answered with this line. False ends the request with CURLE_WRITE_ERROR, before libcurl
  /// acts on the line.
  [[nodiscard]] virtual bool heard(std::string_view line) noexcept = 0;

 protected:
  ~control_listener() = default;
};

/// Owns the multi handle, and with it the open connections that libcurl keeps between requests. Outlive every
/// handle that was prepared here. One thread at a time.
class request_driver : pinned {
 public:
  /// Throws std::bad_alloc when libcurl gives no multi handle.
  request_driver();
  ~request_driver();

  /// Makes the sockets of `curl` known here. Once per handle, before its first request.
  void prepare(CURL* curl);

  /// Lets the replies that `curl` reads be watched: sets its debug and header functions, which nobody else
  /// may set from then on. Behind the login's options.
  void watch_replies(CURL* curl) noexcept;

  /// Appends each line of a reply to `copy` as well, until it is null again. No memory for one ends the
  /// request with CURLE_WRITE_ERROR.
  void copy_replies_to(byte_vector* copy) noexcept { copy_ = copy; }

  /// CURLDebug that watches replies as well.
  static int trace(CURL* curl, curl_infotype type, char* data, std::size_t size, void* self) noexcept;

  /// Runs the request configured on `curl`. Returns what curl_easy_perform would, but
  /// CURLE_WEIRD_SERVER_REPLY for a success that rests on replies to other commands or is none. The handle
  /// stays with the multi handle afterwards, so that libcurl can still tell its open connection; which is
  /// closed when the server has sent more than libcurl looked at.
  /// `listener` may be null.
  [[nodiscard]] CURLcode perform(CURL* curl, control_listener* listener = nullptr);

  // The same step by step, for a download of which a piece at a time is taken: begin(), then step() and
  // wait() in turn until step() answers true, then settle(). In between SIGPIPE is to be kept from the host,
  // see sigpipe_guard.

  /// Adds the request configured on `curl`. `listener` (may be null) must live until the request has ended.
  [[nodiscard]] CURLcode begin(CURL* curl, control_listener* listener);
  /// Lets libcurl do what can be done at once. Returns true when the request has ended, with `result`.
  [[nodiscard]] bool step(CURL* curl, CURLcode& result);
  /// Waits until libcurl has something to do, or the control socket has something to say, at most `wait_ms`;
  /// which becomes how long the next wait may take. 0 at the begin of a request.
  void wait(int& wait_ms);
  /// What perform() returns for a request that ended with `result`.
  [[nodiscard]] CURLcode settle(CURL* curl, CURLcode result);
  /// Takes the request away from libcurl, which closes its control connection.
  void abandon(CURL* curl) noexcept;

  /// Ends the data connection of the download that runs towards the server; libcurl sees neither more data
  /// nor an end before show_end_of_data(). False when there is none that could be ended so.
  [[nodiscard]] bool cut_data() noexcept;
  [[nodiscard]] bool data_is_cut() const noexcept { return cut_.is_cut(); }
  void show_end_of_data() noexcept { cut_.show_end(); }
  /// Waits until the reply that is awaited has come, at most `limit`. False when it has not.
  [[nodiscard]] bool await_reply(std::chrono::milliseconds limit) const noexcept;
  /// The longest time that a reply of this request has taken so far.
  [[nodiscard]] std::chrono::milliseconds longest_reply() const noexcept;

  /// Whether libcurl still holds the control connection of the last request, and the server has neither
  /// closed it nor sent anything unasked: then a further command can be sent without a new login.
  [[nodiscard]] bool control_is_open(CURL* curl) const;

  /// Whether something waits to be read on the first open socket; between requests that is the control
  /// connection, where nothing is due.
  [[nodiscard]] bool control_has_input() const noexcept;

  /// Whether sockets of a connection that libcurl holds no longer are still open: libcurl 8 takes its time to
  /// say goodbye there. The first one would be taken for the next control connection.
  [[nodiscard]] bool has_leftover_sockets(CURL* curl) const noexcept;

  /// Whether the server has ended that connection, whatever it said before.
  [[nodiscard]] bool control_has_ended() const noexcept;

  /// While set, no socket is opened: a request that needs a new login fails instead.
  void refuse_new_sockets(bool refuse) noexcept { refuse_ = refuse; }

  /// Shuts every open socket down: destruction says no further goodbye.
  void shut_down_sockets() noexcept;

  /// Closes every connection without a goodbye: the next request of `curl` begins on a fresh one.
  void close_connections(CURL* curl) noexcept;

 private:
  static curl_socket_t open_socket(void* self, curlsocktype purpose, struct curl_sockaddr* address) noexcept;
  static int close_socket(void* self, curl_socket_t socket) noexcept;
  static int set_up_socket(void* self, curl_socket_t socket, curlsocktype purpose) noexcept;
  /// Header function: ends a request at a reply that is no answer to its commands, before libcurl acts on it.
  static std::size_t take_header(char* line, std::size_t size, std::size_t count, void* self) noexcept;
  [[nodiscard]] CURLcode run(CURL* curl, control_listener* listener);
  [[nodiscard]] curl_socket_t control_socket() const noexcept {
    return sockets_.empty() ? CURL_SOCKET_BAD : sockets_.front();
  }
  [[nodiscard]] bool is_out_of_step() const noexcept;
  [[nodiscard]] bool has_unasked_reply() const noexcept;
  void take_command(std::string_view command);
  void take_line(CURL* curl, std::string_view line);

  using clock = std::chrono::steady_clock;

  owner<CURLM, curl_multi_cleanup> multi_;
  std::vector<curl_socket_t> sockets_;  // open ones, oldest first: the first is the control connection
  bool refuse_ = false;
  bool asked_for_private_data_ = false;  // by the last command
  bool data_is_private_ = false;         // the server awaits TLS on data connections
  byte_account bytes_;                   // of the control connection
  byte_vector* copy_ = nullptr;          // of the replies
  // Of the request that runs:
  bool encrypted_from_the_start_ = false;
  reply_account replies_;
  answer_class answer_;
  bool reply_is_due_ = false;  // a command was sent, or a socket opened
  bool reply_came_first_ = false;
  control_listener* listener_ = nullptr;
  bool listener_refuses_ = false;                // the line that it has heard last
  curl_socket_t data_socket_ = CURL_SOCKET_BAD;  // of the connection that the data comes on
  data_cut cut_;
  clock::time_point asked_at_{};
  clock::duration longest_reply_{};
};

}  // namespace ftp_plugin
