#include "host/text.h"

#include <algorithm>

namespace ftp_host {

std::string to_lower(std::string_view text) {
  std::string out{text};
  std::transform(out.begin(), out.end(), out.begin(), [](char c) { return to_lower(c); });
  return out;
}

bool equal_ignoring_case(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return to_lower(x) == to_lower(y); });
}

void trim_end(std::string& line) { line.erase(line.find_last_not_of("\r\n ") + 1); }

}  // namespace ftp_host
