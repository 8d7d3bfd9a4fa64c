#include "listing/ftpparse_time.h"

#include <time.h>

#include <atomic>

#include "listing/wrapping.h"

namespace ftp_plugin {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kDaysPerYear = 365;
constexpr std::int64_t kDaysPer4Years = 4 * kDaysPerYear + 1;
constexpr std::int64_t kDaysPer100Years = 25 * kDaysPer4Years - 1;
constexpr std::int64_t kDaysPer400Years = 4 * kDaysPer100Years + 1;
// The count is anchored at the fifth 400-year cycle, whose first day (1 March 2000) has this number.
constexpr std::int64_t kAnchorCycle = 5;
constexpr std::int64_t kAnchorDay = 11017;

constexpr std::int64_t kPlausibleAge = 350 * kSecondsPerDay;
constexpr int kYearsTried = 100;

/// A value that is computed at its first use. Threads that come at the same time all compute and store it.
class once_only {
 public:
  template <class Compute>
  std::int64_t get(Compute&& compute) noexcept {
    if (needed_.load(std::memory_order_acquire)) {
      value_.store(compute(), std::memory_order_relaxed);
      needed_.store(false, std::memory_order_release);
    }
    return value_.load(std::memory_order_relaxed);
  }

 private:
  std::atomic<bool> needed_{true};
  std::atomic<std::int64_t> value_{0};
};

// Computed once, never forgotten.
constinit once_only base;
constinit once_only currentyear;

std::int64_t compute_base() noexcept {
  const time_t zero = 0;
  struct tm epoch {};
  gmtime_r(&zero, &epoch);
  const std::int64_t midnight = totai(1900 + epoch.tm_year, epoch.tm_mon, epoch.tm_mday);
  const int second_of_day = (epoch.tm_hour * 60 + epoch.tm_min) * 60 + epoch.tm_sec;
  return -(midnight + second_of_day);
}

}  // namespace

std::int64_t totai(std::int64_t year, std::int64_t month, std::int64_t mday) noexcept {
  // Years run from March to February, so that the leap day is the last day of its year.
  if (month >= 2) {
    month -= 2;
  } else {
    month = wrapping_add(month, 10);
    year = wrapping_sub(year, 1);
  }
  const std::int64_t tenths = wrapping_add(wrapping_mul(wrapping_sub(mday, 1), 10), 5);
  std::int64_t day = wrapping_add(tenths, wrapping_mul(306, month)) / 10;

  // 29 February is the last day of its four years. Kept on purpose: in a year that has none it stands for the
  // one before ("Feb 29  2019" is 2016-02-29), where a calendar would say 1 March. A host that compares times
  // would see such files change. Pinned by Totai.TakesTheLeapDayOfAYearWithoutOneForTheLastThereWas.
  if (day == kDaysPerYear) {
    year = wrapping_sub(year, 3);
    day = kDaysPer4Years - 1;
  } else {
    day = wrapping_add(day, kDaysPerYear * (year % 4));
  }
  year /= 4;
  day = wrapping_add(day, kDaysPer4Years * (year % 25));
  year /= 25;
  if (day == kDaysPer100Years) {  // 29 February of a year that 400 divides
    year = wrapping_sub(year, 3);
    day = kDaysPer400Years - 1;
  } else {
    day = wrapping_add(day, kDaysPer100Years * (year % 4));
  }
  year /= 4;
  day = wrapping_add(day, wrapping_add(wrapping_mul(kDaysPer400Years, year - kAnchorCycle), kAnchorDay));
  return wrapping_mul(day, kSecondsPerDay);
}

std::int64_t year_of(std::int64_t count) noexcept {
  std::int64_t day = count / kSecondsPerDay;
  if (count % kSecondsPerDay < 0) --day;
  day -= kAnchorDay;

  std::int64_t year = kAnchorCycle + day / kDaysPer400Years;
  day %= kDaysPer400Years;
  if (day < 0) {
    day += kDaysPer400Years;
    --year;
  }
  year *= 4;
  if (day == kDaysPer400Years - 1) {
    year += 3;
    day = kDaysPer100Years;
  } else {
    year += day / kDaysPer100Years;
    day %= kDaysPer100Years;
  }
  year = year * 25 + day / kDaysPer4Years;
  day %= kDaysPer4Years;
  year *= 4;
  if (day == kDaysPer4Years - 1) {
    year += 3;
    day = kDaysPerYear;
  } else {
    year += day / kDaysPerYear;
    day %= kDaysPerYear;
  }
  const bool january_or_february = (day * 10 + 5) / 306 >= 10;
  return january_or_february ? year + 1 : year;
}

std::int64_t list_base() noexcept { return base.get(compute_base); }

list_clock list_clock_at(std::int64_t seconds) noexcept {
  const std::int64_t now = wrapping_sub(seconds, list_base());
  return {now, year_of(now)};
}

list_clock system_list_clock() noexcept {
  const std::int64_t now = wrapping_sub(time(nullptr), list_base());
  return {now, currentyear.get([now] { return year_of(now); })};
}

std::int64_t guesstai(std::int64_t month, std::int64_t mday) noexcept {
  return guesstai(month, mday, system_list_clock());
}

std::int64_t guesstai(std::int64_t month, std::int64_t mday, const list_clock& clock) noexcept {
  std::int64_t year = wrapping_sub(clock.currentyear, 1);
  std::int64_t candidate = 0;
  for (int tried = 0; tried < kYearsTried; ++tried, year = wrapping_add(year, 1)) {
    candidate = totai(year, month, mday);
    if (wrapping_sub(clock.now, candidate) < kPlausibleAge) break;
  }
  return candidate;
}

}  // namespace ftp_plugin
