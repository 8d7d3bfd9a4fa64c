// Calendar arithmetic of the LIST line parser: turns a date into a number of seconds, and guesses the year of
// a date that is listed without one. A listed time of day counts as UTC.
//
// The functions count seconds from a day of their own ("the count of totai"); list_base() turns such a count
// into seconds since 1970-01-01T00:00:00Z. Safe from any thread: a value that is kept between calls is an
// atomic, and threads that compute it at the same time store the same one.
#pragma once

#include <cstdint>

namespace ftp_plugin {

/// The beginning of a day.
/// `month`    0 for January.
/// Returns    its seconds in the count of totai. No argument is checked: day 32 is the first day of the next
///            month, and the like. The result wraps at 64 bits.
[[nodiscard]] std::int64_t totai(std::int64_t year, std::int64_t month, std::int64_t mday) noexcept;

/// The reverse of totai: the year in which the second `count` lies.
[[nodiscard]] std::int64_t year_of(std::int64_t count) noexcept;

/// What has to be added to a count of totai for seconds since 1970-01-01T00:00:00Z. Computed once per
/// process.
[[nodiscard]] std::int64_t list_base() noexcept;

/// The moment from which the year of a date is guessed. Tests pass a fixed one.
struct list_clock {
  std::int64_t now;          ///< in the count of totai
  std::int64_t currentyear;  ///< a calendar year; the guess begins one year earlier
};

/// The present: `now` is the machine's clock at each call, `currentyear` the year at the first call of the
/// process. A process that runs on into the next year keeps the old one.
[[nodiscard]] list_clock system_list_clock() noexcept;

/// What system_list_clock returns at its first call, were that made `seconds` after 1970-01-01T00:00:00Z.
[[nodiscard]] list_clock list_clock_at(std::int64_t seconds) noexcept;

/// The beginning of the day `month`/`mday` in the year that a listing most likely means when it names none:
/// of last year's date, this year's, and so on, the first that is less than 350 days old or still to come.
/// After 100 years without one, the date in the last of them. In the count of totai. The first form takes
/// system_list_clock().
[[nodiscard]] std::int64_t guesstai(std::int64_t month, std::int64_t mday) noexcept;
[[nodiscard]] std::int64_t guesstai(std::int64_t month, std::int64_t mday, const list_clock& clock) noexcept;

}  // namespace ftp_plugin
