// Amounts as people read them.
#pragma once

#include <string>

namespace ftp_host {

/// "0 B", "999 B", "1.0 KiB", "12.3 MiB": three digits and a unit.
[[nodiscard]] std::string byte_text(double bytes);
/// "0:05", "12:34", "1:02:03"; "--:--" below zero or beyond four days.
[[nodiscard]] std::string duration_text(double seconds);

}  // namespace ftp_host
