// MLSD lines, one per input: the one-pass scan gives what cutting at regular expressions and formatting with
// printf gives.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <regex>
#include <string>

#include "common/split.h"
#include "common/string_format.h"
#include "fuzz/require.h"
#include "listing/mlsd_line.h"

namespace {

std::string piece(const std::string& value, std::size_t offset, std::size_t length) {
  return offset < value.size() ? value.substr(offset, length) : std::string{};
}

/// The slow way.
void read_by_expressions(const std::string& line, _FS_FILE_V2& record) {
  static const std::regex kSemicolon{";"};
  const std::size_t blank = line.find(' ');
  if (blank == std::string::npos) return;
  record.name = line.substr(blank + 1);
  for (const std::string& fact : ftp_plugin::split(line.substr(0, blank), kSemicolon)) {
    const std::size_t equals = fact.find('=');
    if (equals == std::string::npos) continue;
    std::string name = fact.substr(0, equals);
    for (char& c : name) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
    }
    const std::string value = fact.substr(equals + 1);
    if (name == "type") {
      record.attr = value == "file" ? 1 : 2;
      if (value != "file") record.size = 0;
    } else if (name == "modify") {
      record.modify_time = ftp_plugin::string_format("%s-%s-%sT%s:%s:%s.000Z", piece(value, 0, 4).c_str(),
                                                     piece(value, 4, 2).c_str(), piece(value, 6, 2).c_str(),
                                                     piece(value, 8, 2).c_str(), piece(value, 10, 2).c_str(),
                                                     piece(value, 12, 2).c_str());
    } else if (name == "size" || name == "sizd") {
      record.size = std::atoll(value.c_str());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Lines reach the parser without NUL bytes and line feeds.
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\0' || data[i] == '\n') return -1;
  }
  const std::unique_ptr<char[]> line{new char[size]};
  if (size > 0) std::memcpy(line.get(), data, size);

  _FS_FILE_V2 got;
  ftp_plugin::parse_mlsd_line({line.get(), size}, got);
  _FS_FILE_V2 want;
  read_by_expressions({line.get(), size}, want);
  const bool same = got.name == want.name && got.attr == want.attr && got.size == want.size &&
                    got.modify_time == want.modify_time && got.create_time == want.modify_time &&
                    got.access_time == want.modify_time && got.id.empty();
  REQUIRE(same);
  return 0;
}
