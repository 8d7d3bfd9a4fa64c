#include "host/time_text.h"

#include <fmt/format.h>

#include <charconv>

namespace ftp_host {
namespace {

/// Reads `digits` digits at the start of `text` and moves on; false when they are not there.
bool take_number(std::string_view& text, std::size_t digits, int& value) {
  if (text.size() < digits) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + digits, value);
  if (error != std::errc{} || end != text.data() + digits || value < 0) return false;
  text.remove_prefix(digits);
  return true;
}

bool take(std::string_view& text, std::string_view any_of) {
  if (text.empty() || any_of.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

bool take_date(std::string_view& text, std::tm& time) {
  if (!take_number(text, 4, time.tm_year) || !take(text, "-") || !take_number(text, 2, time.tm_mon) ||
      !take(text, "-") || !take_number(text, 2, time.tm_mday)) {
    return false;
  }
  time.tm_year -= 1900;
  time.tm_mon -= 1;
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (time.tm_mon < 0 || time.tm_mon >= 12) return false;
  const int year = time.tm_year + 1900;
  const bool leap = time.tm_mon == 1 && year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return time.tm_mday >= 1 && time.tm_mday <= kDays[time.tm_mon] + (leap ? 1 : 0);
}

bool take_minutes(std::string_view& text, std::tm& time) {
  return take_number(text, 2, time.tm_hour) && take(text, ":") && take_number(text, 2, time.tm_min) &&
         time.tm_hour < 24 && time.tm_min < 60;
}

}  // namespace

std::optional<std::time_t> parse_record_time(std::string_view text) {
  std::tm time{};
  if (!take_date(text, time) || !take(text, "T") || !take_minutes(text, time) || !take(text, ":") ||
      !take_number(text, 2, time.tm_sec)) {
    return std::nullopt;
  }
  const std::time_t seconds = timegm(&time);
  if (seconds == -1) return std::nullopt;
  return seconds;
}

std::string record_time(std::time_t seconds) {
  std::tm time{};
  gmtime_r(&seconds, &time);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.000Z", time.tm_year + 1900, time.tm_mon + 1,
                     time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

std::optional<std::time_t> parse_user_time(std::string_view text) {
  if (text == "now") return std::time(nullptr);
  if (text.starts_with('@')) {
    long long seconds = 0;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), seconds);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return static_cast<std::time_t>(seconds);
  }
  std::tm time{};
  time.tm_isdst = -1;
  if (!take_date(text, time)) return std::nullopt;
  if (take(text, "T ")) {
    if (!take_minutes(text, time)) return std::nullopt;
    if (take(text, ":") && (!take_number(text, 2, time.tm_sec) || time.tm_sec > 60)) return std::nullopt;
  }
  const bool utc = take(text, "Z");
  if (!text.empty()) return std::nullopt;
  return utc ? timegm(&time) : std::mktime(&time);
}

std::string local_time_text(std::time_t seconds) {
  std::tm time{};
  localtime_r(&seconds, &time);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", time.tm_year + 1900, time.tm_mon + 1,
                     time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

}  // namespace ftp_host
