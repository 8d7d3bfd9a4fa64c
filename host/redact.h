// Takes secrets out of a line before it is logged.
#pragma once

#include <string>
#include <string_view>

namespace ftp_host {

/// `line` with these replaced by "***": what follows "PASS " at a word's start; the value of an Authorization
/// or Proxy-Authorization header, up to the line's end; the password inside a URL (scheme://user:password@).
[[nodiscard]] std::string redact(std::string_view line);

}  // namespace ftp_host
