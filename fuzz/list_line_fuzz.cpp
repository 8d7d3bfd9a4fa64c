// LIST lines, one per input: whatever a server sends, the parser stays inside the line and gives one answer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "fuzz/require.h"
#include "listing/basic_line.h"
#include "listing/ftpparse.h"

namespace {

bool is_inside(const char* part, std::int32_t length, const char* line, std::size_t size) {
  return part >= line && length >= 0 && part + length <= line + size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ftp_plugin;
  // A copy of the exact size: a byte read past the line is one past an allocation.
  const std::unique_ptr<char[]> line{new char[size]};
  if (size > 0) std::memcpy(line.get(), data, size);
  const list_clock clock{1'718'452'800, 2024};

  struct ftpparse parsed;
  const int understood = ftpparse(&parsed, line.get(), static_cast<int>(size), &clock);
  REQUIRE(understood == (parsed.name != nullptr ? 1 : 0));
  if (understood == 1) {
    REQUIRE(is_inside(parsed.name, parsed.namelen, line.get(), size));
    REQUIRE(parsed.sizetype == 1 || parsed.size == 0);
    REQUIRE(parsed.mtimetype != 0 || parsed.mtime == 0);
    REQUIRE(parsed.idtype == 0 || is_inside(parsed.id, parsed.idlen, line.get(), size));
  }

  for (const bool is_sftp : {false, true}) {
    const basic_line_context context{"/dir", is_sftp, nullptr, &clock};
    _FS_FILE_V2 record;
    REQUIRE(parse_basic_line({line.get(), size}, context, record) == (understood == 1));
    if (understood == 0) {
      REQUIRE(record.name.empty() && record.attr == 0 && record.modify_time.empty());
      continue;
    }
    REQUIRE(record.name.size() <= static_cast<std::size_t>(parsed.namelen));
    REQUIRE(record.size == parsed.size);
    REQUIRE(record.modify_time.size() == 24);
    REQUIRE(record.create_time == record.modify_time && record.access_time == record.modify_time);
    if (!is_sftp) REQUIRE(record.attr == (parsed.flagtrycwd != 0 ? FS_ATTR_DIRECTORY : FS_ATTR_FILE));
  }
  return 0;
}
