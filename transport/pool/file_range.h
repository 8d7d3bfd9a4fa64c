// A range of a file on the server.
#pragma once

#include <cstdint>
#include <string>

namespace ftp_plugin {

struct file_range {
  std::string url;
  std::int64_t offset = 0;
  std::int64_t length = 0;       ///< above 0
  std::int64_t speed_limit = 0;  ///< bytes per second; 0 is unlimited
};

/// The range as libcurl takes it, both ends inclusive.
[[nodiscard]] std::string range_text(const file_range& range);

}  // namespace ftp_plugin
