// One entry of an SFTP directory, as a server that may send anything describes it, to its line and back
// through the LIST parser: the record is the entry's, whatever the server wrote into its long name.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/time_text.h"
#include "fuzz/require.h"
#include "listing/basic_line.h"
#include "listing/reply_lines.h"
#include "listing/sftp_line.h"

namespace {

using namespace ftp_plugin;

/// Takes a number of `bytes` bytes from the front of `input`; zeros where it ends.
std::uint64_t take(std::string_view& input, std::size_t bytes) {
  std::uint64_t number = 0;
  for (; bytes != 0; --bytes) {
    number = number << 8 | (input.empty() ? 0U : static_cast<unsigned char>(input.front()));
    input.remove_prefix(input.empty() ? 0 : 1);
  }
  return number;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input{reinterpret_cast<const char*>(data), size};
  const std::uint64_t flags = take(input, 1) & (kSftpHasSize | kSftpHasPermissions | kSftpHasTimes);
  const auto told = [&](std::uint64_t flag, std::size_t bytes) {
    const std::uint64_t number = take(input, bytes);
    return (flags & flag) != 0 ? number : 0;
  };
  sftp_attributes attributes{};
  attributes.flags = flags;
  attributes.filesize = told(kSftpHasSize, 2);
  attributes.permissions = told(kSftpHasPermissions, 2);
  attributes.mtime = told(kSftpHasTimes, 4);
  const std::size_t name_length = take(input, 1);
  const std::string name{input.substr(0, name_length)};
  input.remove_prefix(name.size());
  const std::string long_name{input.substr(0, input.find('\0'))};

  sftp_entry entry{name, long_name, attributes};
  if (!fits_a_line(name)) return 0;
  if (is_link_with_arrow_in_name(entry)) entry = listed_as(entry, nullptr);
  byte_vector listing;
  append_listing_line(listing, entry);

  reply_lines lines{{listing.data(), listing.size()}};
  std::string_view line;
  REQUIRE(lines.next(line));
  _FS_FILE_V2 record;
  REQUIRE(parse_basic_line(line, {.is_sftp = true}, record));
  REQUIRE(record.name == name);
  const bool is_link = line.starts_with('l');
  if ((flags & kSftpHasSize) != 0 && !is_link) {
    REQUIRE(record.size == static_cast<std::int64_t>(attributes.filesize));
  }
  if ((flags & kSftpHasTimes) != 0) {
    const auto seconds = static_cast<std::int32_t>(static_cast<std::uint32_t>(attributes.mtime));
    REQUIRE(record.modify_time == TimeToRFC3339(seconds));
  }
  REQUIRE(!lines.next(line));
  return 0;
}
