// Time conversion between seconds, broken-down time and RFC 3339 text.
// Free functions without state, safe from any thread: the zone is asked for at each call, and only re-entrant
// functions of the C library are used. None of them reports an error: what a text does not hold reads as 0
// (a missing year as 1900), and an instant that the C library cannot convert counts as the instant -1.
//
// Operations call TimeToRFC3339 and TMToRFC3339 only. No operation calls the others: they belong to the
// library by contract.
//
// "UTC text" below means `YYYY-MM-DDThh:mm:ss.000Z`, 24 bytes for the years 0 to 9999; the fraction is always
// 000. Texts are read in the form `year-month-dayThour:minute:second`; what follows the seconds is ignored.
#pragma once

#include <ctime>
#include <string>

namespace ftp_plugin {

/// UTC text of `seconds` since 1970-01-01T00:00:00Z; may be negative.
[[nodiscard]] std::string TimeToRFC3339(time_t seconds);

/// The same text under the names that belong to the two ways of treating a server's clock.
[[nodiscard]] std::string TimeToUTCRFC3339(time_t seconds);
[[nodiscard]] std::string NoAdjustOffsetForServerTime(time_t seconds);

/// UTC text of `seconds` moved by the local zone's offset of 2015-10-03, whatever the offset at `seconds` is.
[[nodiscard]] std::string AdjustOffsetForServerTime(time_t seconds);

/// Reads `text` as local standard time and writes it as UTC text, moved back by the local offset once more: a
/// text read east of Greenwich moves back by twice the offset.
[[nodiscard]] std::string AdjustServerTimeOffset(const char* text);

/// A copy of `text`, byte for byte.
[[nodiscard]] std::string NoAdjustServerTimeOffset(const char* text);

/// Seconds of `text`, read as local standard time: also where daylight saving holds at that date.
[[nodiscard]] time_t RFC3339ToTM(const char* text);

/// Seconds of `text`, read as UTC.
[[nodiscard]] time_t RFC3339ToLocalTM(const char* text);

/// Writes the fields of `*bt` as they stand, closed by "Z" whatever zone they came from. `bt` is not changed.
[[nodiscard]] std::string TMToRFC3339(const tm* bt);

/// UTC text of the local time `*bt`, which is normalised in place.
[[nodiscard]] std::string TMToUTCRFC3339(tm* bt);

/// The time of day as `YYYY-MM-DDThh:mm:ss.mmm`: milliseconds, no zone letter, in UTC.
[[nodiscard]] std::string GetSystemTimeRfc3339();

}  // namespace ftp_plugin
