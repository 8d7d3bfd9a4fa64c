// Instants for the parser tests, by the standard library's own calendar.
#pragma once

#include <chrono>
#include <cstdint>

namespace ftp_plugin {

/// Seconds since 1970-01-01 of a UTC wall-clock time; `month` is 1 for January.
constexpr std::int64_t utc(int year, unsigned month, unsigned day, int hour = 0, int minute = 0,
                           int second = 0) {
  const std::chrono::sys_days date =
      std::chrono::year_month_day{std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
  return static_cast<std::int64_t>(date.time_since_epoch().count()) * 86400 + hour * 3600 + minute * 60 +
         second;
}

}  // namespace ftp_plugin
