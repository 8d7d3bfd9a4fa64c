#include "transport/ftp/ftp_download.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "boundary/log.h"
#include "common/owner.h"
#include "transport/buffers.h"
#include "transport/ftp/file_size_reply.h"
#include "transport/ftp/reply_lines.h"
#include "transport/sigpipe_guard.h"

namespace ftp_plugin {
namespace {

using std::chrono::milliseconds;

// How long a server may take to say that it has noticed the end of its data connection: much longer than it
// takes for any other reply.
constexpr milliseconds kLeastPatience{1000};
constexpr int kPatienceInReplies = 4;
// How often the host's wish to stop is looked at meanwhile.
constexpr milliseconds kLook{100};

/// The name that libcurl asks for: the last part of the path, decoded. Empty when there is none, or one that
/// does not go into a command.
std::string name_in(CURL* curl, const std::string& url) {
  const std::string_view encoded = std::string_view{url}.substr(url.rfind('/') + 1);
  int length = 0;
  const owner<char, curl_free> decoded{
      curl_easy_unescape(curl, encoded.data(), static_cast<int>(encoded.size()), &length)};
  if (decoded == nullptr) return {};
  std::string name{decoded.get(), static_cast<std::size_t>(length)};
  const bool is_text = std::ranges::none_of(name, [](char c) { return static_cast<unsigned char>(c) < ' '; });
  return is_text ? name : std::string{};
}

}  // namespace

bool ftp_download::can_serve(CURL* curl, const std::string& url) { return !name_in(curl, url).empty(); }

ftp_download::ftp_download(request_driver& driver, CURL* curl, file from)
    : driver_{driver}, curl_{curl}, file_{std::move(from)}, offset_{file_.offset} {
  add(before_, "TYPE I");
  // A refusal of SIZE is no failure.
  add(just_before_, "*SIZE " + name_in(curl, file_.url));
  if (file_.offset > 0) add(just_before_, "REST " + std::to_string(file_.offset));
}

ftp_download::~ftp_download() {
  if (is_open()) (void)give_up(CURLE_OK);
  undo_options();
}

CURLcode ftp_download::set_options() {
  CURLcode refused = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) {
    const CURLcode code = curl_easy_setopt(curl_, option, value);
    if (refused == CURLE_OK) refused = code;
  };
  set(CURLOPT_QUOTE, before_.get());
  set(CURLOPT_PREQUOTE, just_before_.get());
  set(CURLOPT_URL, file_.url.c_str());
  // Else libcurl asks for the size itself, and calls every early end a partial file that costs the login.
  set(CURLOPT_IGNORE_CONTENT_LENGTH, 1L);
  set(CURLOPT_BUFFERSIZE, file_.buffer_size);
  set(CURLOPT_NOBODY, 0L);
  set(CURLOPT_WRITEFUNCTION,
      static_cast<std::size_t (*)(char*, std::size_t, std::size_t, void*)>(&take_bytes));
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_XFERINFOFUNCTION, &report_progress);
  set(CURLOPT_XFERINFODATA, this);
  set(CURLOPT_NOPROGRESS, 0L);
  return refused;
}

void ftp_download::undo_options() noexcept {
  constexpr auto kDiscard = [](char*, std::size_t size, std::size_t count, void*) { return size * count; };
  curl_easy_setopt(curl_, CURLOPT_QUOTE, nullptr);
  curl_easy_setopt(curl_, CURLOPT_PREQUOTE, nullptr);
  curl_easy_setopt(curl_, CURLOPT_URL, nullptr);
  curl_easy_setopt(curl_, CURLOPT_IGNORE_CONTENT_LENGTH, 0L);
  curl_easy_setopt(curl_, CURLOPT_BUFFERSIZE, kDefaultDownloadBuffer);
  curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION,
                   static_cast<std::size_t (*)(char*, std::size_t, std::size_t, void*)>(kDiscard));
  curl_easy_setopt(curl_, CURLOPT_WRITEDATA, nullptr);
  curl_easy_setopt(curl_, CURLOPT_XFERINFOFUNCTION, nullptr);
  curl_easy_setopt(curl_, CURLOPT_XFERINFODATA, nullptr);
  curl_easy_setopt(curl_, CURLOPT_NOPROGRESS, 1L);
}

CURLcode ftp_download::take(std::int64_t length, piece_taker& taker) {
  const sigpipe_guard guard;
  taker_ = &taker;
  wanted_ = length;
  taken_ = 0;
  began_ = clock::now();
  count_total();
  std::optional<CURLcode> ended = start();
  if (!ended.has_value()) ended = drive();
  const CURLcode code = ended.has_value() ? judge(*ended) : CURLE_OK;
  if (code == CURLE_OK) report();
  taker_ = nullptr;
  return code;
}

std::optional<CURLcode> ftp_download::start() {
  if (state_ == state::fresh) {
    // Pinned by EveryFailure.InADownload.
    if (const CURLcode refused = set_options(); refused != CURLE_OK) {
      has_ended();
      return refused;
    }
    state_ = state::running;
    const CURLcode code = driver_.begin(curl_, this);
    if (code != CURLE_OK) {
      has_ended();
      return code;
    }
    return std::nullopt;
  }
  const std::size_t kept =
      std::min<std::size_t>(kept_.size() - kept_from_, static_cast<std::size_t>(wanted_));
  if (kept > 0) {
    char* bytes = kept_.data() + kept_from_;
    kept_from_ += kept;
    if (!hand_on(bytes, kept)) return give_up(CURLE_WRITE_ERROR);
  }
  if (wanted_ > 0 && std::exchange(paused_, false)) {
    // libcurl hands on what it holds in this call, and does not go on where that fails.
    if (const CURLcode code = curl_easy_pause(curl_, CURLPAUSE_CONT); code != CURLE_OK) return give_up(code);
  }
  return std::nullopt;
}

std::optional<CURLcode> ftp_download::drive() {
  int wait_ms = 0;
  for (;;) {
    // What libcurl has handed on without a step, out of a pause.
    if (wanted_ == 0 && file_.stays_open && !is_at_end()) return std::nullopt;
    CURLcode code = CURLE_OK;
    if (driver_.step(curl_, code)) {
      has_ended();
      return driver_.settle(curl_, code);
    }
    if (is_cut_) return finish_cut();
    if (cannot_cut_) return give_up(CURLE_OK);
    if (wanted_ == 0 && file_.stays_open && !is_at_end()) return std::nullopt;
    if (taker_ != nullptr && taker_->is_stopped()) {
      stopped_ = true;
      return give_up(CURLE_WRITE_ERROR);
    }
    driver_.wait(wait_ms);
  }
}

CURLcode ftp_download::finish_cut() {
  if (!await_final_reply()) {
    // The reply may still come, and would be taken for the answer to another command.
    server_kept_silent_ = !stopped_;
    return give_up(stopped_ ? CURLE_WRITE_ERROR : CURLE_OPERATION_TIMEDOUT);
  }
  driver_.show_end_of_data();
  int wait_ms = 0;
  CURLcode code = CURLE_OK;
  while (!driver_.step(curl_, code)) driver_.wait(wait_ms);
  has_ended();
  return driver_.settle(curl_, code);
}

bool ftp_download::await_final_reply() {
  const auto patience = std::max(kLeastPatience, kPatienceInReplies * driver_.longest_reply());
  const auto deadline = clock::now() + patience;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - clock::now());
    if (driver_.await_reply(std::clamp(left, milliseconds{0}, kLook))) return true;
    if (left.count() <= 0) return false;
    stopped_ = taker_ != nullptr && taker_->is_stopped();
    if (stopped_) return false;
  }
}

CURLcode ftp_download::give_up(CURLcode code) {
  driver_.abandon(curl_);
  has_ended();
  return code;
}

void ftp_download::has_ended() noexcept {
  state_ = state::ended;
  paused_ = false;
  kept_.clear();
  kept_from_ = 0;
}

void ftp_download::end() {
  if (!is_open()) return;
  const sigpipe_guard guard;
  discards_ = true;
  is_cut_ = file_.may_be_cut && driver_.cut_data();
  if (!is_cut_) {
    (void)give_up(CURLE_OK);
    return;
  }
  if (std::exchange(paused_, false)) curl_easy_pause(curl_, CURLPAUSE_CONT);
  (void)finish_cut();
}

CURLcode ftp_download::judge(CURLcode code) const noexcept {
  if (verdict_.has_value() && code == CURLE_WRITE_ERROR) return *verdict_;
  // Nothing lies behind the last byte, whatever the server calls a restart there. libcurl asks for nothing
  // then; but an answer is the way to keep the login.
  const bool began_at_the_end = file_.offset > 0 && size_ == file_.offset;
  const bool is_refused = code == CURLE_FTP_COULDNT_RETR_FILE || code == CURLE_REMOTE_FILE_NOT_FOUND;
  if (began_at_the_end && (is_refused || (restart_refused_ && code == CURLE_QUOTE_ERROR))) return CURLE_OK;
  if (restart_refused_ && code == CURLE_QUOTE_ERROR) return CURLE_FTP_COULDNT_USE_REST;
  const bool is_whole = wanted_ == 0 || (transfer_began_ && is_at_end());
  if (is_whole) {
    // 18: a final reply that is no success, as an early end has it, and as some servers answer in any case.
    // The others: the connection has ended behind the last byte.
    switch (code) {
      case CURLE_PARTIAL_FILE:
      case CURLE_OPERATION_TIMEDOUT:
      case CURLE_SEND_ERROR:
      case CURLE_RECV_ERROR:
        return CURLE_OK;
      default:
        return code;
    }
  }
  // Without a known size the final reply alone tells that the file ends here.
  return code == CURLE_OK && size_.has_value() ? CURLE_PARTIAL_FILE : code;
}

void ftp_download::sent(std::string_view command) noexcept {
  asked_ = question::other;
  if (command.starts_with("SIZE ")) asked_ = question::size;
  if (command.starts_with("REST ")) asked_ = question::rest;
  if (command.starts_with("RETR ")) asked_ = question::retrieve;
}

bool ftp_download::heard(std::string_view line) noexcept {
  if (!ends_reply(line)) return true;
  switch (std::exchange(asked_, question::other)) {
    case question::size:
      size_ = size_in_reply(line);
      count_total();
      // libcurl reads it so, too: the file does not exist.
      if (line.starts_with("550 ")) verdict_ = CURLE_REMOTE_FILE_NOT_FOUND;
      if (size_.has_value() && *size_ < file_.offset) verdict_ = CURLE_BAD_DOWNLOAD_RESUME;
      break;
    case question::rest:
      restart_refused_ = !line.starts_with('3');
      break;
    case question::retrieve:
      transfer_began_ = line.starts_with('1');
      if (!size_.has_value() && file_.offset == 0) size_ = size_in_preliminary_reply(line);
      count_total();
      break;
    case question::other:
      break;
  }
  return !verdict_.has_value();
}

std::size_t ftp_download::take_bytes(char* data, std::size_t size, std::size_t count, void* self) noexcept {
  try {
    return static_cast<ftp_download*>(self)->take_bytes(data, size * count);
  } catch (...) {
    log_exception("Read");
    return 0;  // no memory to keep what lies behind the piece
  }
}

std::size_t ftp_download::take_bytes(char* data, std::size_t size) {
  if (discards_ || is_cut_) return size;
  // The file has grown since SIZE was answered: then only its end tells where it ends.
  if (size_.has_value() && offset_ + static_cast<std::int64_t>(size) > *size_) size_.reset();
  const auto part =
      static_cast<std::size_t>(std::min<std::int64_t>(wanted_, static_cast<std::int64_t>(size)));
  const std::size_t rest = size - part;
  // libcurl hands the same bytes in again behind a pause, so nothing of them may have been taken.
  if (part == 0 && file_.stays_open && size > 0) {
    paused_ = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  if (rest > 0 && file_.stays_open) {
    kept_.assign(data + part, data + size);
    kept_from_ = 0;
  }
  if (part > 0 && !hand_on(data, part)) return 0;
  // A piece that ends with the file waits for the server's own end.
  if (wanted_ == 0 && !file_.stays_open && (rest > 0 || !is_at_end())) {
    is_cut_ = file_.may_be_cut && driver_.cut_data();
    cannot_cut_ = !is_cut_;
  }
  return size;
}

bool ftp_download::hand_on(char* data, std::size_t size) {
  if (taker_->take(data, size) != size) {
    stopped_ = true;
    return false;
  }
  const auto count = static_cast<std::int64_t>(size);
  wanted_ -= count;
  taken_ += count;
  offset_ += count;
  return true;
}

int ftp_download::report_progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  static_cast<ftp_download*>(self)->report();
  return 0;
}

void ftp_download::count_total() noexcept {
  total_ = size_.has_value() ? std::clamp<std::int64_t>(*size_ - offset_, 0, wanted_) : 0;
}

void ftp_download::report() noexcept {
  if (taker_ == nullptr) return;
  const std::chrono::duration<double> passed = clock::now() - began_;
  const auto taken = static_cast<double>(taken_);
  taker_->report(total_, taken_, passed.count() > 0 ? taken / passed.count() : 0);
}

}  // namespace ftp_plugin
