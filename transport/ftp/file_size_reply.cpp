#include "transport/ftp/file_size_reply.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace ftp_plugin {
namespace {

/// `text` as a number; nothing unless it is digits and nothing else.
std::optional<std::int64_t> number(std::string_view text) noexcept {
  std::int64_t value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.starts_with('-') || error != std::errc{} || stop != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<std::int64_t> size_in_reply(std::string_view line) noexcept {
  if (!line.starts_with("213 ")) return std::nullopt;
  line = line.substr(0, line.find_first_of("\r\n"));
  return number(line.substr(line.find_last_not_of("0123456789") + 1));
}

std::optional<std::int64_t> size_in_preliminary_reply(std::string_view line) noexcept {
  if (!line.starts_with('1')) return std::nullopt;
  line = line.substr(0, line.find(" bytes"));
  const std::size_t open = line.rfind('(');
  return open == std::string_view::npos ? std::nullopt : number(line.substr(open + 1));
}

}  // namespace ftp_plugin
