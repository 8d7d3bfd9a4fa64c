#include "listing/sftp_line.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>
#include <optional>
#include <string>

#include "listing/ftpparse.h"

namespace ftp_plugin {
namespace {

constexpr std::string_view kArrow = " -> ";
constexpr std::string_view kKinds = "bcdlps-";  // first characters that make a line an `ls -l` line
constexpr std::size_t kLongestLine = std::numeric_limits<int>::max();  // that the parser takes
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool has(const sftp_attributes& attributes, std::uint64_t flag) noexcept {
  return (attributes.flags & flag) != 0;
}

char kind_of(const sftp_attributes& attributes) noexcept {
  switch (attributes.permissions & kSftpKindMask) {
    case kSftpDirectory:
      return 'd';
    case kSftpLink:
      return 'l';
    case 0020000:
      return 'c';
    case 0060000:
      return 'b';
    case 0010000:
      return 'p';
    case 0140000:
      return 's';
    default:
      return '-';
  }
}

/// Whether the server told the kind of the entry with its attributes.
bool tells_kind(const sftp_attributes& attributes) noexcept {
  return has(attributes, kSftpHasPermissions) && (attributes.permissions & kSftpKindMask) != 0;
}

bool is_link(const sftp_entry& entry) noexcept {
  return tells_kind(entry.attributes) ? kind_of(entry.attributes) == 'l' : entry.long_name.starts_with('l');
}

/// Whether a column of `line` is the number `size`. The parser reads a number out of any text, "4K" as well.
bool shows_size(std::string_view line, std::int64_t size) {
  const std::string digits = std::to_string(static_cast<std::uint64_t>(size));
  while (!line.empty()) {
    const std::size_t end = std::min(line.find(' '), line.size());
    std::string_view column = line.substr(0, end);
    while (column.size() > 1 && column.front() == '0') column.remove_prefix(1);
    if (column == digits) return true;
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  return false;
}

/// Where the file name ends in the long name; nothing when the LIST parser does not find this entry in there.
std::optional<std::size_t> end_of_name_in_long_name(const sftp_entry& entry) {
  const std::string_view line = entry.long_name;
  // Of the parser's layouts, only this one ends in the name (or the target of a link): the time can follow.
  if (line.empty() || kKinds.find(line.front()) == std::string_view::npos) return std::nullopt;
  if (line.size() > kLongestLine || line.find('\n') != std::string_view::npos) return std::nullopt;
  const sftp_attributes& attributes = entry.attributes;
  if (tells_kind(attributes) && line.front() != kind_of(attributes)) return std::nullopt;

  struct ftpparse parsed;
  constexpr list_clock kAnyClock{};  // the listed time does not count
  if (ftpparse(&parsed, line.data(), static_cast<int>(line.size()), &kAnyClock) == 0) return std::nullopt;
  const std::string_view name{parsed.name, static_cast<std::size_t>(parsed.namelen)};
  if (name != entry.name) return std::nullopt;
  // In NetWare's form the parser drops three blanks from the front of a longer name, and with the time behind
  // it even a name of three blanks is a longer one.
  if (name.starts_with("   ")) return std::nullopt;
  const auto name_at = static_cast<std::size_t>(parsed.name - line.data());
  const bool same_size = has(attributes, kSftpHasSize)
                             ? parsed.size == static_cast<std::int64_t>(attributes.filesize)
                             : shows_size(line.substr(0, name_at), parsed.size);
  if (!same_size) return std::nullopt;
  return name_at + name.size();
}

void append(byte_vector& listing, std::string_view text) { listing.append(text); }

/// Everything up to the name. The parser replaces the day by the exact time behind the name.
std::string columns_from_attributes(const sftp_entry& entry) {
  const sftp_attributes& attributes = entry.attributes;
  const auto kind = tells_kind(attributes) ? kind_of(attributes) : (is_link(entry) ? 'l' : '-');
  std::string mode = "rwxrwxrwx";
  for (std::size_t bit = 0; bit < mode.size(); ++bit) {
    if ((attributes.permissions >> (8 - bit) & 1) == 0) mode[bit] = '-';
  }
  const auto seconds = static_cast<std::time_t>(attributes.mtime & 0xFFFFFFFF);  // SFTP times have 32 bits
  std::tm day{};
  gmtime_r(&seconds, &day);
  std::array<char, 160> columns{};
  std::snprintf(columns.data(), columns.size(), "%c%s 1 %llu %llu %llu %s %2d %d ", kind, mode.c_str(),
                static_cast<unsigned long long>(attributes.uid),
                static_cast<unsigned long long>(attributes.gid),
                static_cast<unsigned long long>(attributes.filesize),
                kMonths[static_cast<std::size_t>(day.tm_mon)], day.tm_mday, day.tm_year + 1900);
  return columns.data();
}

}  // namespace

bool fits_a_line(std::string_view name) noexcept {
  return name.find('\n') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

bool is_link_with_arrow_in_name(const sftp_entry& entry) noexcept {
  return is_link(entry) && entry.name.find(kArrow) != std::string_view::npos;
}

sftp_entry listed_as(const sftp_entry& entry, const sftp_attributes* target) noexcept {
  sftp_entry plain = entry;
  plain.long_name = {};
  const bool directory =
      target != nullptr && (target->permissions & kSftpKindMask & kSftpDirectory) == kSftpDirectory;
  plain.attributes.flags |= kSftpHasPermissions;
  plain.attributes.permissions &= ~kSftpKindMask;
  plain.attributes.permissions |= directory ? kSftpDirectory : kSftpRegular;
  if (directory) plain.attributes.filesize = 0;
  return plain;
}

void append_listing_line(byte_vector& listing, const sftp_entry& entry) {
  std::string_view behind_name;
  const auto name_end = end_of_name_in_long_name(entry);
  if (name_end) {
    append(listing, entry.long_name.substr(0, *name_end));
    behind_name = entry.long_name.substr(*name_end);
  } else {
    append(listing, columns_from_attributes(entry));
    append(listing, entry.name);
  }
  // A server that sends no times leaves the long name's own, unless the reader of the line would take a `;`
  // in the name for one, or a carriage return at its end for a part of the line's end.
  const bool timed = has(entry.attributes, kSftpHasTimes);
  if (timed || entry.name.find(';') != std::string_view::npos || entry.name.ends_with('\r')) {
    append(listing, ";");
    append(listing, std::to_string(timed ? entry.attributes.mtime : 0));
  }
  append(listing, behind_name);
  listing.push_back('\n');
}

}  // namespace ftp_plugin
