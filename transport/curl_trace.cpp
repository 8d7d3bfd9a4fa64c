#include "transport/curl_trace.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "boundary/log.h"
#include "common/ascii.h"

namespace ftp_plugin {
namespace {

constexpr std::string_view kSecretHeaders[] = {"authorization:", "proxy-authorization:"};
constexpr std::string_view kPasswordCommand = "PASS ";
constexpr std::size_t kLongestName = 20;  // "proxy-authorization:"

/// Copies what is sent, byte by byte, without the secret values in it. One lives on each thread, since a
/// header line may begin in one traced piece and end in the next one.
class Redactor {
 public:
  /// Another handle means another conversation: nothing of a line that was cut off carries over.
  void attend(const CURL* handle) noexcept {
    if (handle != handle_) {
      handle_ = handle;
      place_ = Place::kName;
      name_length_ = 0;
    }
  }

  void copy(char c, std::string& out) {
    if (c == '\r' || c == '\n') {
      out += c;
      if (c == '\n') end_line();
      return;
    }
    switch (place_) {
      case Place::kPlain:
        out += c;
        return;
      case Place::kSecret:
        return;
      case Place::kAfterSecret:
        if (c == ' ' || c == '\t') {  // a folded line goes on with the secret
          place_ = Place::kSecret;
          return;
        }
        place_ = Place::kName;
        break;
      case Place::kName:
        break;
    }
    out += c;
    extend_name(c, out);
  }

 private:
  enum class Place : std::uint8_t { kName, kPlain, kSecret, kAfterSecret };

  void end_line() noexcept {
    place_ = place_ == Place::kSecret ? Place::kAfterSecret : Place::kName;
    name_length_ = 0;
  }

  void extend_name(char c, std::string& out) {
    name_[name_length_++] = c;
    const std::string_view name{name_.data(), name_length_};
    const bool password = name == kPasswordCommand;
    if (password || is_secret_header(name)) {
      out += password ? "***" : " ***";
      place_ = Place::kSecret;
    } else if (c == ':' || name_length_ == kLongestName) {
      place_ = Place::kPlain;
    }
  }

  static bool is_secret_header(std::string_view name) noexcept {
    return std::ranges::any_of(
        kSecretHeaders, [&](std::string_view secret) { return ascii::equal_ignoring_case(name, secret); });
  }

  const CURL* handle_ = nullptr;
  Place place_ = Place::kName;
  std::array<char, kLongestName> name_{};
  std::size_t name_length_ = 0;
};

thread_local Redactor redactor;

/// `text` without the password of any URL in it: libcurl puts the login into the URL that an HTTP proxy is
/// asked for, and tells where a redirect leads.
std::string without_url_passwords(std::string text) {
  constexpr std::string_view kMark = "://";
  constexpr std::string_view kHidden = "***";
  for (std::size_t begin = text.find(kMark); begin != std::string::npos; begin = text.find(kMark, begin)) {
    begin += kMark.size();
    const std::size_t end = std::min(text.find_first_of("/?# \t\r\n", begin), text.size());
    const std::string_view authority = std::string_view{text}.substr(begin, end - begin);
    const std::size_t at = authority.rfind('@');  // a password may hold another one
    const std::size_t colon = authority.find(':');
    if (at == std::string_view::npos || colon >= at) continue;
    text.replace(begin + colon + 1, at - colon - 1, kHidden);
  }
  return text;
}

void trace_sent(const CURL* handle, std::string_view text) {
  std::string shown;
  redactor.attend(handle);
  for (const char c : text) redactor.copy(c, shown);  // left-out pieces count too: the next may go on
  if (text.starts_with('\r') || text.starts_with(kPasswordCommand)) return;
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[NETWORK   ] [HEADER   <<] %s",
           without_url_passwords(std::move(shown)).c_str());
}

void trace(const CURL* handle, curl_infotype type, std::string_view text) {
  switch (type) {
    case CURLINFO_TEXT:
      __LOG__A(current_logger(), LOGLEVEL_DEBUG, "[NETWORK   ] [INFORMATION] %s",
               without_url_passwords(std::string{text}).c_str());
      break;
    case CURLINFO_HEADER_IN:
      if (text.starts_with('\r')) break;
      __LOG__A(current_logger(), LOGLEVEL_INFO, "[NETWORK   ] [HEADER   >>] %s",
               without_url_passwords(std::string{text}).c_str());
      break;
    case CURLINFO_HEADER_OUT:
      trace_sent(handle, text);
      break;
    default:
      break;
  }
}

}  // namespace

int CURLDebug(CURL* handle, curl_infotype type, char* data, std::size_t size, void*) noexcept {
  try {
    trace(handle, type, {data, size});
  } catch (...) {
    // The transfer goes on without the line; this one needs no memory of ours.
    __LOG__A(current_logger(), LOGLEVEL_ERROR, "[NETWORK   ] no memory for a line of the trace");
  }
  return 0;
}

}  // namespace ftp_plugin
