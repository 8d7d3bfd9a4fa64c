#include "listing/basic_line.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "common/string_format.h"
#include "common/time_text.h"
#include "listing/c_number.h"
#include "listing/ftpparse.h"

namespace ftp_plugin {
namespace {

std::string link_path(const char* directory, const std::string& name) {
  if (directory == nullptr || *directory == '\0') return string_format("/%s", name.c_str());
  return string_format("%s/%s", directory, name.c_str());
}

}  // namespace

bool parse_basic_line(std::string_view line, const basic_line_context& context, _FS_FILE_V2& record) {
  constexpr std::size_t kLongest = std::numeric_limits<int>::max();
  struct ftpparse parsed;
  (void)ftpparse(&parsed, line.data(), static_cast<int>(std::min(line.size(), kLongest)), context.clock);
  if (parsed.name == nullptr) return false;

  std::string_view name{parsed.name, static_cast<std::size_t>(parsed.namelen)};
  std::int64_t seconds = parsed.mtime;
  if (context.is_sftp) {
    const std::size_t semicolon = name.rfind(';');
    if (semicolon != std::string_view::npos) {
      seconds = atoll_of(name.substr(semicolon + 1));
      name = name.substr(0, semicolon);
    }
  }
  record.name.assign(name);
  record.size = parsed.size;
  if (context.is_sftp && line.front() == 'l') {
    _FS_FILE_V2 target;
    if (context.follow_link != nullptr && *context.follow_link) {
      (*context.follow_link)(link_path(context.path, record.name), target);
    }
    record.attr = target.attr;
    if (target.attr == FS_ATTR_DIRECTORY) record.size = target.size;
  } else {
    // A link on an FTP server is a directory: it may be either, and entering it is worth the try.
    record.attr = parsed.flagtrycwd != 0 ? FS_ATTR_DIRECTORY : FS_ATTR_FILE;
  }
  // Kept on purpose: the time goes through 32 bits, so a date past 2038-01-19T03:14:07Z comes out 136 years
  // earlier. A host that has stored such times would see every one of them change.
  // Pinned by the Narrowed rows of tests/unit/listing/basic_line_test.cpp.
  const auto narrowed = static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds));
  record.create_time = TimeToRFC3339(narrowed);
  record.access_time = record.create_time;
  record.modify_time = record.create_time;
  return true;
}

}  // namespace ftp_plugin
