// Times as the plug-in, the user and the tables write them.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace ftp_host {

/// "2024-03-05T07:08:09.000Z" (UTC) as seconds since 1970. None for another text, and for the second before
/// 1970, which is how the plug-in writes a time that the server did not tell.
[[nodiscard]] std::optional<std::time_t> parse_record_time(std::string_view text);
/// The reverse: 24 bytes, fraction 000. A time outside the years 1 to 9999 is written as the nearest inside.
[[nodiscard]] std::string record_time(std::time_t seconds);

/// What the user types: "2024-03-05", "2024-03-05 07:08" or "2024-03-05T07:08:09" in local time, or in UTC
/// with "Z" behind it; "@seconds"; "now". None when it is none of them, or not in the years 1 to 9999.
[[nodiscard]] std::optional<std::time_t> parse_user_time(std::string_view text);

/// "2024-03-05 07:08:09" in local time; limited as record_time.
[[nodiscard]] std::string local_time_text(std::time_t seconds);

}  // namespace ftp_host
