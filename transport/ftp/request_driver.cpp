#include "transport/ftp/request_driver.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "boundary/log.h"
#include "transport/curl_trace.h"
#include "transport/ftp/received_bytes.h"
#include "transport/server_settings.h"
#include "transport/sigpipe_guard.h"

namespace ftp_plugin {
namespace {

constexpr int kLongestWaitMs = 1000;  // libcurl shortens it to its own timers
constexpr int kLongestPauseMs = 8;

/// Whether reading from `socket` would not wait: data, end of stream or an error.
bool is_readable(curl_socket_t socket) noexcept {
  pollfd watched{socket, POLLIN, 0};
  return poll(&watched, 1, 0) != 0;
}

/// The control socket, as byte_account asks it.
struct control_counter {
  curl_socket_t socket;
  [[nodiscard]] std::optional<std::int64_t> received() const noexcept { return bytes_received(socket); }
  [[nodiscard]] std::optional<std::int64_t> read() const noexcept { return bytes_read(socket); }
  [[nodiscard]] std::int64_t waiting() const noexcept { return bytes_waiting(socket); }
};

/// reply_account rests on how libcurl 7 works.
bool account_fits_libcurl() noexcept {
  static const bool fits = curl_version_info(CURLVERSION_NOW)->version_num < 0x080000;
  return fits;
}

/// Whether libcurl does the TLS handshake on a data connection that it accepts in active mode. 7.88.1 does
/// not; of the versions between the two nobody here knows.
bool libcurl_encrypts_accepted_data() noexcept {
  static const bool does = curl_version_info(CURLVERSION_NOW)->version_num >= 0x080e01;
  return does;
}

/// Whether the URL of `curl` is one of implicit TLS.
bool begins_with_tls(CURL* curl) noexcept {
  const char* url = nullptr;
  curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &url);
  return url != nullptr && scheme_of(url) == url_scheme::kFtps;
}

}  // namespace

request_driver::request_driver() : multi_{curl_multi_init()} {
  if (multi_ == nullptr) throw std::bad_alloc{};
}

request_driver::~request_driver() {
  const sigpipe_guard guard;
  multi_.reset();
}

void request_driver::prepare(CURL* curl) {
  curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &request_driver::open_socket);
  curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(curl, CURLOPT_CLOSESOCKETFUNCTION, &request_driver::close_socket);
  curl_easy_setopt(curl, CURLOPT_CLOSESOCKETDATA, this);
  curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, &request_driver::set_up_socket);
  curl_easy_setopt(curl, CURLOPT_SOCKOPTDATA, this);
}

void request_driver::watch_replies(CURL* curl) noexcept {
  curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, &request_driver::trace);
  curl_easy_setopt(curl, CURLOPT_DEBUGDATA, this);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &request_driver::take_header);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
}

int request_driver::trace(CURL* curl, curl_infotype type, char* data, std::size_t size, void* self) noexcept {
  auto& driver = *static_cast<request_driver*>(self);
  if (type == CURLINFO_HEADER_OUT) driver.take_command({data, size});
  if (type == CURLINFO_HEADER_IN) {
    // Until a command is sent, libcurl's place in its buffer is one in the freed buffer of the request
    // before: `data` must not be looked at. Pinned by
    // Connection.BeginsAfreshAtAReplyThatComesBeforeTheFirstCommand.
    if (!driver.reply_is_due_) {
      driver.reply_came_first_ = true;
      return 0;
    }
    driver.take_line(curl, {data, size});
  }
  return CURLDebug(curl, type, data, size, nullptr);
}

void request_driver::take_command(std::string_view command) {
  reply_is_due_ = true;
  bytes_.take_command(command, control_counter{control_socket()});
  answer_.take_command(command);
  asked_for_private_data_ = command.starts_with("PROT P");
  asked_at_ = clock::now();
  if (listener_ != nullptr) listener_->sent(command);
}

void request_driver::take_line(CURL* curl, std::string_view line) {
  if (account_fits_libcurl()) {
    long header_size = 0;
    curl_easy_getinfo(curl, CURLINFO_HEADER_SIZE, &header_size);
    replies_.take_line(line, header_size);
  }
  bytes_.take_line(line, control_counter{control_socket()});
  answer_.take_line(line);
  if (asked_for_private_data_) data_is_private_ = line.starts_with('2');
  if (asked_at_ != clock::time_point{}) {
    longest_reply_ = std::max(longest_reply_, clock::now() - std::exchange(asked_at_, {}));
  }
  if (listener_ != nullptr) listener_refuses_ = !listener_->heard(line);
}

std::size_t request_driver::take_header(char* line, std::size_t size, std::size_t count,
                                        void* self) noexcept {
  const auto& driver = *static_cast<request_driver*>(self);
  const bool refused = driver.reply_came_first_ || driver.is_out_of_step() || driver.answer_.is_wrong() ||
                       driver.listener_refuses_;
  if (refused) return 0;
  return driver.copy_ == nullptr ? size * count : write_vector_char(line, size, count, driver.copy_);
}

curl_socket_t request_driver::open_socket(void* self, curlsocktype, struct curl_sockaddr* address) noexcept {
  auto& driver = *static_cast<request_driver*>(self);
  if (driver.refuse_) return CURL_SOCKET_BAD;
  try {
    driver.sockets_.reserve(driver.sockets_.size() + 1);
  } catch (const std::bad_alloc&) {
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[NETWORK   ] no memory for a connection");
    return CURL_SOCKET_BAD;
  }
  const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (opened < 0) return CURL_SOCKET_BAD;
  if (driver.sockets_.empty()) {  // another control connection
    driver.data_is_private_ = false;
    driver.bytes_.begin_connection(driver.encrypted_from_the_start_);
  }
  driver.sockets_.push_back(opened);
  driver.reply_is_due_ = true;  // the greeting, or a proxy's answer
  return opened;
}

int request_driver::set_up_socket(void* self, curl_socket_t socket, curlsocktype purpose) noexcept {
  auto& driver = *static_cast<request_driver*>(self);
  if (purpose == CURLSOCKTYPE_ACCEPT || socket != driver.control_socket()) driver.data_socket_ = socket;
  if (purpose != CURLSOCKTYPE_ACCEPT) return CURL_SOCKOPT_OK;
  // Not for the programs that the host starts: a copy of the data connection of active mode, which libcurl
  // accepts by itself, would keep the server waiting for the end of an upload.
  (void)fcntl(socket, F_SETFD, FD_CLOEXEC);
  if (!driver.data_is_private_) return CURL_SOCKOPT_OK;
  if (driver.bytes_.is_encrypted() && libcurl_encrypts_accepted_data()) return CURL_SOCKOPT_OK;
  // An older libcurl begins no TLS handshake on it: the bytes of an upload would leave in clear, and
  // everything else would wait for 20 s. Pinned by
  // Connection.SendsNothingInClearInActiveModeWhereTheServerAwaitsTls.
  __LOG__A(current_logger(), LOGLEVEL_DEBUG,
           "[NETWORK   ] [INFORMATION] no TLS on data connections in active mode: use passive mode");
  return CURL_SOCKOPT_ERROR;
}

int request_driver::close_socket(void* self, curl_socket_t socket) noexcept {
  auto& driver = *static_cast<request_driver*>(self);
  auto& sockets = driver.sockets_;
  sockets.erase(std::remove(sockets.begin(), sockets.end(), socket), sockets.end());
  if (socket == driver.data_socket_) driver.data_socket_ = CURL_SOCKET_BAD;
  return close(socket);
}

CURLcode request_driver::begin(CURL* curl, control_listener* listener) {
  curl_multi_remove_handle(multi_.get(), curl);  // still there from the last request
  encrypted_from_the_start_ = begins_with_tls(curl);
  replies_.begin();
  answer_.begin();
  bytes_.begin_request();
  reply_is_due_ = false;
  reply_came_first_ = false;
  listener_ = listener;
  listener_refuses_ = false;
  // In active mode libcurl closes the data socket without a word, and the number may be another's by now.
  data_socket_ = CURL_SOCKET_BAD;
  cut_.show_end();
  asked_at_ = {};
  longest_reply_ = {};
  if (curl_multi_add_handle(multi_.get(), curl) == CURLM_OK) return CURLE_OK;
  listener_ = nullptr;
  return CURLE_OUT_OF_MEMORY;
}

bool request_driver::step(CURL* curl, CURLcode& result) {
  int running = 0;
  const CURLMcode code = curl_multi_perform(multi_.get(), &running);
  if (code != CURLM_OK) {
    curl_multi_remove_handle(multi_.get(), curl);
    result = code == CURLM_OUT_OF_MEMORY ? CURLE_OUT_OF_MEMORY : CURLE_BAD_FUNCTION_ARGUMENT;
  }
  if (code == CURLM_OK && running != 0) return false;
  if (code == CURLM_OK) {
    result = CURLE_OUT_OF_MEMORY;  // libcurl could not even store its message
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
      if (message->msg == CURLMSG_DONE && message->easy_handle == curl) result = message->data.result;
    }
  }
  listener_ = nullptr;
  data_socket_ = CURL_SOCKET_BAD;
  return true;
}

CURLcode request_driver::run(CURL* curl, control_listener* listener) {
  CURLcode result = begin(curl, listener);
  if (result != CURLE_OK) return result;
  int wait_ms = 0;
  while (!step(curl, result)) wait(wait_ms);
  return result;
}

void request_driver::abandon(CURL* curl) noexcept {
  const sigpipe_guard guard;
  listener_ = nullptr;
  curl_multi_remove_handle(multi_.get(), curl);
  cut_.show_end();
  data_socket_ = CURL_SOCKET_BAD;
}

bool request_driver::cut_data() noexcept {
  // The control connection must never be taken for it.
  if (data_socket_ == CURL_SOCKET_BAD || data_socket_ == control_socket()) return false;
  return cut_.cut(data_socket_);
}

bool request_driver::await_reply(std::chrono::milliseconds limit) const noexcept {
  if (sockets_.empty()) return false;
  // libcurl may have read it together with the one before.
  if (bytes_.awaits_nothing(control_counter{control_socket()})) return true;
  pollfd watched{control_socket(), POLLIN, 0};
  return poll(&watched, 1, static_cast<int>(limit.count())) > 0;
}

std::chrono::milliseconds request_driver::longest_reply() const noexcept {
  return std::chrono::ceil<std::chrono::milliseconds>(longest_reply_);
}

bool request_driver::is_out_of_step() const noexcept {
  return replies_.is_out_of_step() || bytes_.is_out_of_step();
}

bool request_driver::has_unasked_reply() const noexcept {
  return replies_.keeps_bytes() || bytes_.has_unasked_bytes();
}

CURLcode request_driver::perform(CURL* curl, control_listener* listener) {
  const sigpipe_guard guard;
  CURLcode result = run(curl, listener);
  if (reply_came_first_) {  // nothing was sent yet
    close_connections(curl);
    result = run(curl, listener);
  }
  return settle(curl, result);
}

CURLcode request_driver::settle(CURL* curl, CURLcode result) {
  // Pinned by Upload.ASecondReplyIsNotTakenForTheSizeThatTheServerHas.
  if (has_unasked_reply() || is_out_of_step() || answer_.is_wrong()) close_connections(curl);
  // A write error is how take_header() ends a request.
  // Pinned by Move.ASecondReplyToTheSourceIsNoAnswerToTheTarget.
  if ((is_out_of_step() || answer_.is_wrong()) && (result == CURLE_OK || result == CURLE_WRITE_ERROR))
    return CURLE_WEIRD_SERVER_REPLY;
  return result;
}

void request_driver::wait(int& wait_ms) {
  // libcurl can read a reply and then need another call without any socket telling so (an EPSV reply that is
  // already there). So the first wait behind an event is none at all, and only quiet makes it longer.
  const bool unread = control_has_input();
  // A reply that libcurl leaves unread, because it is busy with the data connection or looks at the wrong
  // socket, would make the wait spin: then the control socket is not watched, and the wait stays short.
  const bool watch_control = !sockets_.empty() && !unread;
  curl_waitfd control{};
  control.events = CURL_WAIT_POLLIN;
  if (watch_control) control.fd = sockets_.front();
  int events = 0;
  curl_multi_poll(multi_.get(), &control, watch_control ? 1U : 0U, wait_ms, &events);
  if (events != 0) {
    wait_ms = 0;
  } else {
    wait_ms = std::clamp(2 * wait_ms, 1, unread ? kLongestPauseMs : kLongestWaitMs);
  }
}

bool request_driver::control_has_input() const noexcept {
  return !sockets_.empty() && is_readable(sockets_.front());
}

bool request_driver::has_leftover_sockets(CURL* curl) const noexcept {
  curl_socket_t control = CURL_SOCKET_BAD;
  (void)curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &control);
  return !sockets_.empty() && control == CURL_SOCKET_BAD;
}

bool request_driver::control_has_ended() const noexcept {
  if (sockets_.empty()) return false;
  pollfd watched{sockets_.front(), POLLRDHUP, 0};
  return poll(&watched, 1, 0) != 0;
}

bool request_driver::control_is_open(CURL* curl) const {
  curl_socket_t control = CURL_SOCKET_BAD;
  if (curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &control) != CURLE_OK) return false;
  return control != CURL_SOCKET_BAD && !is_readable(control);
}

void request_driver::shut_down_sockets() noexcept {
  for (const curl_socket_t socket : sockets_) shutdown(socket, SHUT_RDWR);
}

void request_driver::close_connections(CURL* curl) noexcept {
  // Shutting the sockets down is not enough: libcurl looks for dead connections once a second only, and a
  // request before that fails on the old one.
  shut_down_sockets();
  owner<CURLM, curl_multi_cleanup> fresh{curl_multi_init()};
  if (fresh == nullptr) return;  // then the next request may fail, which drops the connection
  const sigpipe_guard guard;
  curl_multi_remove_handle(multi_.get(), curl);
  multi_ = std::move(fresh);
}

}  // namespace ftp_plugin
