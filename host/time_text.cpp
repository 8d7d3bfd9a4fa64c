#include "host/time_text.h"

#include <fmt/chrono.h>

#include <algorithm>
#include <chrono>

#include "host/text.h"

namespace ftp_host {
namespace {

namespace chrono = std::chrono;

/// Takes what it recognises off the front of a text.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_{text} {}

  /// A number of exactly so many digits.
  bool number(std::size_t digits, unsigned& value) {
    const auto number = parse_number<unsigned>(rest_.substr(0, digits));
    if (!number || rest_.size() < digits) return false;
    value = *number;
    rest_.remove_prefix(digits);
    return true;
  }
  /// One of these characters.
  bool one_of(std::string_view characters) {
    if (rest_.empty() || characters.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }
  /// "2024-03-05": a day that the calendar has.
  bool date(chrono::year_month_day& date) {
    unsigned year = 0, month = 0, day = 0;
    if (!number(4, year) || !one_of("-") || !number(2, month) || !one_of("-") || !number(2, day))
      return false;
    date = chrono::year{static_cast<int>(year)} / chrono::month{month} / chrono::day{day};
    return date.ok();
  }
  /// "07:08": a minute that the day has.
  bool minute(chrono::minutes& minute) {
    unsigned hours = 0, minutes = 0;
    if (!number(2, hours) || !one_of(":") || !number(2, minutes)) return false;
    minute = chrono::hours{hours} + chrono::minutes{minutes};
    return hours < 24 && minutes < 60;
  }
  [[nodiscard]] bool at_end() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

std::time_t utc(const chrono::year_month_day& date, chrono::seconds time) {
  return chrono::system_clock::to_time_t(chrono::sys_days{date} + time);
}

/// The same in the time zone of this process.
std::time_t local(const chrono::year_month_day& date, chrono::seconds time) {
  const chrono::hh_mm_ss clock{time};
  std::tm fields{};
  fields.tm_year = int{date.year()} - 1900;
  fields.tm_mon = static_cast<int>(unsigned{date.month()}) - 1;
  fields.tm_mday = static_cast<int>(unsigned{date.day()});
  fields.tm_hour = static_cast<int>(clock.hours().count());
  fields.tm_min = static_cast<int>(clock.minutes().count());
  fields.tm_sec = static_cast<int>(clock.seconds().count());
  fields.tm_isdst = -1;  // the zone tells
  return std::mktime(&fields);
}

/// The first second that can be written with a year of four digits, and the last one, in UTC. A day less on
/// both sides leaves room for every time zone.
constexpr std::time_t kFirst =
    chrono::sys_seconds{chrono::sys_days{chrono::year{1} / 1 / 2}}.time_since_epoch().count();
constexpr std::time_t kLast =
    chrono::sys_seconds{chrono::sys_days{chrono::year{9999} / 12 / 31}}.time_since_epoch().count() - 1;

std::time_t writable(std::time_t seconds) { return std::clamp(seconds, kFirst, kLast); }

}  // namespace

std::optional<std::time_t> parse_record_time(std::string_view text) {
  Reader reader{text};
  chrono::year_month_day date;
  chrono::minutes minute{};
  unsigned second = 0;
  if (!reader.date(date) || !reader.one_of("T") || !reader.minute(minute) || !reader.one_of(":") ||
      !reader.number(2, second)) {
    return std::nullopt;
  }
  const std::time_t seconds = utc(date, minute + chrono::seconds{second});
  if (seconds == -1) return std::nullopt;
  return seconds;
}

std::string record_time(std::time_t seconds) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.000Z", fmt::gmtime(writable(seconds)));
}

std::optional<std::time_t> parse_user_time(std::string_view text) {
  if (text == "now") return std::time(nullptr);
  if (text.starts_with('@')) {
    const auto seconds = parse_number<long long>(text.substr(1));
    if (!seconds || *seconds != writable(*seconds)) return std::nullopt;
    return static_cast<std::time_t>(*seconds);
  }
  Reader reader{text};
  chrono::year_month_day date;
  chrono::minutes minute{};
  unsigned second = 0;
  if (!reader.date(date)) return std::nullopt;
  if (reader.one_of("T ")) {
    if (!reader.minute(minute)) return std::nullopt;
    if (reader.one_of(":") && (!reader.number(2, second) || second > 60)) return std::nullopt;
  }
  const bool is_utc = reader.one_of("Z");
  if (!reader.at_end()) return std::nullopt;
  const chrono::seconds time = minute + chrono::seconds{second};
  return is_utc ? utc(date, time) : local(date, time);
}

std::string local_time_text(std::time_t seconds) {
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(writable(seconds)));
}

}  // namespace ftp_host
