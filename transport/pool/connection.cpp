#include "transport/pool/connection.h"

#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "boundary/log.h"
#include "transport/command_list.h"
#include "transport/ftp/tls_end.h"
#include "transport/limits.h"
#include "transport/login_options.h"
#include "transport/request/curl_callbacks.h"
#include "transport/retry.h"
#include "transport/sigpipe_guard.h"

namespace ftp_plugin {
namespace {

AERROR login_result(CURLcode code) {
  switch (code) {
    case CURLE_OK:
      return SUCCESS;
    case CURLE_LOGIN_DENIED:
      return ACCESS_DENIED;
    case CURLE_COULDNT_CONNECT:
      return PATH_NOT_FOUND;
    default:
      return FAILED;
  }
}

/// Logs in, with TLS 1.2 as the highest version where TLS is wanted. Over TLS 1.3 libcurl 7.88.1 offers a
/// ticket that is used up when a server demands session reuse on data connections, and most uploads in a row
/// fail. A server that refuses TLS 1.2 is asked once more without the bound.
CURLcode log_in(request_driver& driver, CURL* curl, bool tls) {
  const auto run = [&] { return run_while_not_initialised([&] { return driver.perform(curl); }); };
  if (!tls) return run();
  curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_MAX_TLSv1_2));
  const CURLcode code = run();
  if (code != CURLE_SSL_CONNECT_ERROR) return code;
  curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_DEFAULT));
  return run();
}

/// Whether the last request may have left the login directory of a server that never told which one that is.
/// libcurl goes back by the answer to PWD; without one it stays, and a raw command with a relative path would
/// name another file: a delete would take the wrong one.
/// Pinned by Delete.TakesTheRightFileWhereTheServerDoesNotTellTheLoginDirectory.
bool has_lost_login_directory(CURL* curl, const std::string& base_url) {
  char* login_directory = nullptr;
  char* last_url = nullptr;
  curl_easy_getinfo(curl, CURLINFO_FTP_ENTRY_PATH, &login_directory);
  curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &last_url);
  if (login_directory != nullptr || last_url == nullptr) return false;
  std::string_view url{last_url};
  // libcurl puts a "/" behind a server without a path.
  if (url.size() == base_url.size() + 1 && url.ends_with('/')) url.remove_suffix(1);
  return url != base_url;
}

}  // namespace

connection::connection(server_settings server) : server_{std::move(server)} {}

connection::~connection() {
  quit();
  const sigpipe_guard guard;
  // libcurl would say a goodbye of its own to a server that keeps the connection open after ours.
  if (driver_ != nullptr && !server_.is_sftp()) driver_->shut_down_sockets();
  curl_.reset();
  driver_.reset();
}

AERROR connection::connect() {
  if (server_.scheme == url_scheme::kNone || !is_one_line(server_.login)) return FAILED;
  auto driver = std::make_unique<request_driver>();
  const auto request = std::make_shared<CURLLogger>();
  CURL* curl = request->GetCURL();
  if (curl == nullptr) return FAILED;
  driver->prepare(curl);
  try {
    set_login_options(curl, server_);
  } catch (const std::length_error& error) {
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[NETWORK   ] no login: %s", error.what());
    return FAILED;
  }
  driver->watch_replies(curl);
  tls_may_just_end_ = accept_end_without_goodbye(curl);
  const CURLcode code = log_in(*driver, curl, server_.wants_tls());
  curl_easy_setopt(curl, CURLOPT_NOBODY, 0L);
  if (code == CURLE_OK) {
    curl_ = request;  // frees an earlier handle before its driver
    driver_ = std::move(driver);
  }
  return login_result(code);
}

CURL* connection::GETCURL() const noexcept { return curl_ == nullptr ? nullptr : curl_->GetCURL(); }

CURLcode connection::exec(long connect_timeout, bool) {
  CURL* curl = GETCURL();
  if (curl == nullptr) return CURLE_FAILED_INIT;
  begin_request(connect_timeout);
  const CURLcode code = driver_->perform(curl, listener_);
  end_request(code);
  return code;
}

void connection::begin_request(long connect_timeout) {
  CURL* curl = GETCURL();
  // libcurl notices an idle control connection that has ended, but takes a reply that waits on one for the
  // answer to its next command: a refused delete would be a success. Pinned by
  // Connection.TakesAReplyThatNobodyAskedForAsTheAnswerToNoCommand.
  // An SSH server may well ask whether anybody is there; when it has hung up behind that, libcurl does not
  // notice either, and the request would fail. Pinned by
  // SftpAfterAPause.FindsTheServerAgainThatGaveUpWaiting.
  const bool is_stale = server_.is_sftp()
                            ? driver_->control_has_ended()
                            : driver_->control_has_input() || driver_->has_leftover_sockets(curl);
  if (is_stale) forget_control();
  if (server_.active_mode) curl_easy_setopt(curl, CURLOPT_FTPPORT, "-");
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, server_.is_sftp() ? kNoTimeoutOnSftp : kNoTimeout);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, connect_timeout);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kLowSpeedBytes);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, kLowSpeedSeconds);
  curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
  curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, &request_driver::trace);
}

void connection::end_request(CURLcode code) {
  // Who has not answered for so long would not hear a goodbye either, and the answer may come yet.
  // Pinned by Patience.EndsAfterTwoMinutesWithoutAGoodbye.
  if (code == CURLE_OPERATION_TIMEDOUT) forget_control();
  if (!server_.is_sftp() && has_lost_login_directory(GETCURL(), server_.url)) forget_control();
}

void connection::quit() {
  CURL* curl = GETCURL();
  if (curl == nullptr || server_.is_sftp()) return;
  command_list commands;
  try {
    curl_easy_setopt(curl, CURLOPT_QUOTE, nullptr);
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, nullptr);
    curl_easy_setopt(curl, CURLOPT_RANGE, nullptr);
    curl_easy_setopt(curl, CURLOPT_URL, server_.url.c_str());
    if (!driver_->control_is_open(curl)) return;  // no new login only to say goodbye
    add(commands, "QUIT");
  } catch (const std::bad_alloc&) {
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[NETWORK   ] no memory for a goodbye");
    return;  // nobody is waiting for it
  }
  curl_easy_setopt(curl, CURLOPT_QUOTE, commands.get());
  curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);  // else a server that stays is asked for a listing
  curl_easy_setopt(curl, CURLOPT_SERVER_RESPONSE_TIMEOUT, kGoodbyeTimeoutSeconds);
  driver_->refuse_new_sockets(true);
  (void)exec(kConnectTimeoutSeconds, false);  // whatever comes back, the connection ends here
  driver_->refuse_new_sockets(false);
  driver_->shut_down_sockets();
  curl_easy_setopt(curl, CURLOPT_SERVER_RESPONSE_TIMEOUT, 0L);
  curl_easy_setopt(curl, CURLOPT_NOBODY, 0L);
  curl_easy_setopt(curl, CURLOPT_QUOTE, nullptr);  // the list ends here
}

void connection::close() {
  quit();
  sftp_.close();
  if (curl_ != nullptr) curl_->Clear();
}

// libcurl stays where it is when the next path has the same folder as the last one, by name. On a server
// whose working directory follows a folder that was renamed, a file for the new folder of the old name would
// be stored in the renamed one, and be found there again. A request for the base URL enters the login
// directory, and sends nothing when the connection is there already. Pinned by
// LiveChanges.AFolderOfAnOldNameIsNotTakenForTheMovedOne.
void connection::leave_moved_folder(std::uint64_t moves) {
  if (std::exchange(folder_moves_, moves) == moves) return;
  CURL* curl = GETCURL();
  if (curl == nullptr || server_.is_sftp() || !driver_->control_is_open(curl)) return;
  curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  (void)exec(kConnectTimeoutSeconds, true);  // a failure closes the control connection, which is as good
  curl_easy_setopt(curl, CURLOPT_NOBODY, 0L);
}

void connection::forget_control() noexcept {
  if (driver_ != nullptr) driver_->close_connections(GETCURL());
}

}  // namespace ftp_plugin
