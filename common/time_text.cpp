#include "common/time_text.h"

#include <sys/time.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace ftp_plugin {
namespace {

constexpr int kFirstYear = 1900;  // tm counts years from here, and months from 0

// Sums of hostile times wrap instead of overflowing.
time_t add(time_t left, time_t right) noexcept {
  return static_cast<time_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}
time_t subtract(time_t left, time_t right) noexcept {
  return static_cast<time_t>(static_cast<std::uint64_t>(left) - static_cast<std::uint64_t>(right));
}
int add(int left, int right) noexcept {
  return static_cast<int>(static_cast<unsigned>(left) + static_cast<unsigned>(right));
}

bool below(int value, int limit) noexcept { return value >= 0 && value < limit; }

void put_two(char* at, int value) noexcept {
  at[0] = static_cast<char>('0' + value / 10);
  at[1] = static_cast<char>('0' + value % 10);
}

// One of these is written for every line of a listing, so the usual case does without printf.
std::string utc_text(const tm& bt) {
  const int year = add(bt.tm_year, kFirstYear);
  const int month = add(bt.tm_mon, 1);
  if (below(year, 10000) && below(month, 100) && below(bt.tm_mday, 100) && below(bt.tm_hour, 100) &&
      below(bt.tm_min, 100) && below(bt.tm_sec, 100)) {
    std::string text{"0000-00-00T00:00:00.000Z"};
    char* at = text.data();
    put_two(at, year / 100);
    put_two(at + 2, year % 100);
    put_two(at + 5, month);
    put_two(at + 8, bt.tm_mday);
    put_two(at + 11, bt.tm_hour);
    put_two(at + 14, bt.tm_min);
    put_two(at + 17, bt.tm_sec);
    return text;
  }
  std::array<char, 96> text{};  // six numbers of up to 11 characters and 10 characters between them
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.000Z", year, month, bt.tm_mday,
                bt.tm_hour, bt.tm_min, bt.tm_sec);
  return text.data();
}

tm utc(time_t seconds) noexcept {
  tm result{};
  gmtime_r(&seconds, &result);
  return result;
}

time_t local(tm bt) noexcept { return mktime(&bt); }

/// Seconds east of Greenwich, with the UTC fields of `seconds` read as local standard time.
time_t local_offset(time_t seconds) noexcept {
  return static_cast<time_t>(difftime(seconds, local(utc(seconds))));
}

/// True when `shown`, the local time at `seconds`, belongs to no other instant as well. That holds where the
/// offset from UTC is the same 26 hours earlier and 26 hours later: zones move their clocks by a day at most,
/// and never twice within three and a half days, so no time comes twice in between.
bool is_shown_once(time_t seconds, const tm& shown) noexcept {
  constexpr time_t kMargin = time_t{26} * 3600;
  for (const time_t other : {subtract(seconds, kMargin), add(seconds, kMargin)}) {
    tm there{};
    if (localtime_r(&other, &there) == nullptr || there.tm_gmtoff != shown.tm_gmtoff) {
      return false;
    }
  }
  return true;
}

// Seconds become text by way of local time on purpose. Where a clock is put back without a change of its
// daylight-saving flag, two instants have the same local time and mktime may return the other one; the host
// compares our texts with those that it has stored. Everywhere else mktime returns the seconds that it was
// made of, and is left out: without TZ it looks at /etc/localtime each time, which costs more than all the
// rest of a line of a listing. Pinned by InZone.SecondsTravelThroughLocalTimeToText and
// InZone.ClockChangesLeadThroughLocalTime.
std::string seconds_to_text(time_t seconds) {
  tm bt{};
  if (localtime_r(&seconds, &bt) == nullptr || !is_shown_once(seconds, bt)) {
    seconds = mktime(&bt);
  }
  return utc_text(utc(seconds));
}

/// The daylight-saving flag of the result is 0, so mktime reads it as local standard time.
tm parse(const char* text) noexcept {
  int year = kFirstYear;  // of a text without any number
  int month = 0;
  tm result{};
  std::sscanf(text, "%d-%d-%dT%d:%d:%d", &year, &month, &result.tm_mday, &result.tm_hour, &result.tm_min,
              &result.tm_sec);
  result.tm_year = add(year, -kFirstYear);
  result.tm_mon = add(month, -1);
  return result;
}

}  // namespace

std::string TimeToRFC3339(time_t seconds) { return seconds_to_text(seconds); }

std::string TimeToUTCRFC3339(time_t seconds) { return seconds_to_text(seconds); }

std::string NoAdjustOffsetForServerTime(time_t seconds) { return seconds_to_text(seconds); }

std::string AdjustOffsetForServerTime(time_t seconds) {
  tm reference{};
  reference.tm_year = 2015 - kFirstYear;
  reference.tm_mon = 9;
  reference.tm_mday = 3;
  reference.tm_isdst = -1;
  return seconds_to_text(add(seconds, local_offset(local(reference))));
}

std::string AdjustServerTimeOffset(const char* text) {
  tm bt = parse(text);
  const time_t seconds = local(bt);
  bt.tm_isdst = -1;
  return seconds_to_text(subtract(seconds, local_offset(local(bt))));
}

std::string NoAdjustServerTimeOffset(const char* text) { return text; }

time_t RFC3339ToTM(const char* text) { return local(parse(text)); }

time_t RFC3339ToLocalTM(const char* text) {
  const time_t seconds = local(parse(text));
  return add(seconds, local_offset(seconds));
}

std::string TMToRFC3339(const tm* bt) { return utc_text(*bt); }

std::string TMToUTCRFC3339(tm* bt) {
  mktime(bt);
  return utc_text(utc(local(*bt)));
}

std::string GetSystemTimeRfc3339() {
  timeval now{};
  gettimeofday(&now, nullptr);
  const tm bt = utc(now.tv_sec);
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03d", add(bt.tm_year, kFirstYear),
                add(bt.tm_mon, 1), bt.tm_mday, bt.tm_hour, bt.tm_min, bt.tm_sec,
                static_cast<int>(now.tv_usec / 1000));
  return text.data();
}

}  // namespace ftp_plugin
