#include "listing/reply_lines.h"

namespace ftp_plugin {

bool reply_lines::next(std::string_view& line) noexcept {
  if (rest_.empty()) return false;
  const std::size_t end = rest_.find('\n');
  line = rest_.substr(0, end);
  rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return true;
}

}  // namespace ftp_plugin
