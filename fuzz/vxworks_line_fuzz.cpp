// VxWorks lines, one per input, and the test for that server's column header. The header test never returns
// on some lines, by design: those are not handed to it.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "fuzz/require.h"
#include "listing/vxworks_line.h"

namespace {

enum class header { yes, no, endless };

/// What the header test does with a line, told one character at a time.
header header_of(std::string_view line) {
  constexpr std::string_view kDue = "sdtn";
  constexpr std::string_view kRest[] = {"ize", "ate", "ime", "ame"};
  std::size_t state = 0;
  std::size_t i = 0;
  while (i < line.size() && line[i] != '\0') {
    if (line[i] == ' ') {
      ++i;
    } else if (line[i] != kDue[state]) {
      return header::endless;
    } else if (line.compare(i + 1, 3, kRest[state]) != 0) {
      return header::no;
    } else if (++state == kDue.size()) {
      return header::yes;
    } else {
      i += 4;
    }
  }
  return header::no;
}

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::unique_ptr<char[]> bytes{new char[size]};
  if (size > 0) std::memcpy(bytes.get(), data, size);
  const std::string_view line{bytes.get(), size};

  const header kind = header_of(line);
  if (kind != header::endless) REQUIRE(ftp_plugin::is_vxworks_server(line) == (kind == header::yes));

  _FS_FILE_V2 record;
  const bool complete = ftp_plugin::parse_vxworks_line(line, record);
  REQUIRE(complete == (record.attr != 0));
  REQUIRE(record.attr <= FS_ATTR_DIRECTORY);
  REQUIRE(complete || record.name.empty());
  REQUIRE(record.name.size() <= 2047);
  REQUIRE(record.name.empty() || (!is_space(record.name.front()) && !is_space(record.name.back())));
  REQUIRE(record.create_time == record.modify_time && record.access_time == record.modify_time);
  REQUIRE(!complete || !record.modify_time.empty());
  REQUIRE(record.size >= 0);
  return 0;
}
