#include "transport/pool/file_range.h"

#include "common/string_format.h"

namespace ftp_plugin {

std::string range_text(const file_range& range) {
  const auto first = static_cast<unsigned long long>(range.offset);
  return string_format("%llu-%llu", first, first + static_cast<unsigned long long>(range.length) - 1);
}

}  // namespace ftp_plugin
