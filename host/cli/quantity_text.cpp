#include "host/cli/quantity_text.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace ftp_host {
namespace {

constexpr double kLongestShown = 4 * 86400.0;

}  // namespace

std::string byte_text(double bytes) {
  constexpr std::array<const char*, 6> kUnits{"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
  std::size_t unit = 0;
  while (bytes >= 999.5 && unit + 1 < kUnits.size()) {
    bytes /= 1024;
    ++unit;
  }
  return unit == 0 || bytes >= 99.95 ? fmt::format("{:.0f} {}", bytes, kUnits[unit])
                                     : fmt::format("{:.1f} {}", bytes, kUnits[unit]);
}

std::string duration_text(double seconds) {
  if (!(seconds >= 0) || seconds > kLongestShown) return "--:--";
  const long whole = std::lround(seconds);
  const long hours = whole / 3600;
  if (hours > 0) return fmt::format("{}:{:02}:{:02}", hours, whole / 60 % 60, whole % 60);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace ftp_host
