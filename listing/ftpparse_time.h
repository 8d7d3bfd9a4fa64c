// Calendar arithmetic of the LIST line parser: a date as a count of seconds, and the year that a listing
// leaves out. A listed wall-clock time is taken as UTC. Safe from any thread: what is computed once is kept
// in atomics, and two first calls at the same time store the same values.
#pragma once

#include <cstdint>

namespace ftp_plugin {

/// The seconds of midnight of a day in the parser's own count. `month` is 0 for January; no argument is
/// checked, a day or month outside the calendar runs on into its neighbours. Wraps at 64 bits.
[[nodiscard]] std::int64_t totai(std::int64_t year, std::int64_t month, std::int64_t mday) noexcept;

/// The year that holds the second `count` of the parser's own count: totai the other way round.
[[nodiscard]] std::int64_t year_of(std::int64_t count) noexcept;

/// What is added to a count of totai to get seconds since 1970-01-01. Computed once per process.
[[nodiscard]] std::int64_t list_base() noexcept;

/// What a guess of the year rests on. Tests pass one of their own to stand still in time.
struct list_clock {
  std::int64_t now;          ///< the present, in the count of totai
  std::int64_t currentyear;  ///< the year to start from
};

/// The clock of the machine. `now` is read anew each time. `currentyear` is the year of the process's first
/// call: a process that runs over New Year keeps it.
[[nodiscard]] list_clock system_list_clock() noexcept;

/// The clock as it would read at `seconds` since 1970-01-01 in a process started then.
[[nodiscard]] list_clock list_clock_at(std::int64_t seconds) noexcept;

/// Midnight of `month`/`mday` in the most plausible year for a listing that leaves the year out: the first
/// date, counted from last year on, that lies less than 350 days back or in the future. The last of 100 years
/// when none does. In the count of totai.
[[nodiscard]] std::int64_t guesstai(std::int64_t month, std::int64_t mday) noexcept;
[[nodiscard]] std::int64_t guesstai(std::int64_t month, std::int64_t mday, const list_clock& clock) noexcept;

}  // namespace ftp_plugin
