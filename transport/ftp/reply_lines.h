// The two marks of a line of an FTP reply.
#pragma once

#include <string_view>

#include "common/ascii.h"

namespace ftp_plugin {

/// Whether `line` begins with a reply code: three digits, then a blank or a hyphen. libcurl passes over other
/// lines outside a reply of several lines.
[[nodiscard]] inline bool has_reply_code(std::string_view line) noexcept {
  return line.size() > 3 && ascii::is_digit(line[0]) && ascii::is_digit(line[1]) &&
         ascii::is_digit(line[2]) && (line[3] == ' ' || line[3] == '-');
}

/// Whether `line` is the last one of a reply.
[[nodiscard]] inline bool ends_reply(std::string_view line) noexcept {
  return has_reply_code(line) && line[3] == ' ';
}

}  // namespace ftp_plugin
