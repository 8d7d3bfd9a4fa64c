#include "transport/sftp/sftp_listing_line.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

namespace ftp_plugin {
namespace {

constexpr std::string_view kArrow = " -> ";
constexpr std::string_view kKinds = "bcdlps-";  // first characters that make a line an `ls -l` line
constexpr std::array<std::string_view, 12> kMonths = {"jan", "feb", "mar", "apr", "may", "jun",
                                                      "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr std::array<const char*, 12> kMonthTexts = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
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

bool is_month(std::string_view field) noexcept {
  const auto same = [](char c, char lower) { return c == lower || c == lower - 32; };
  return std::ranges::any_of(kMonths,
                             [&](std::string_view month) { return std::ranges::equal(field, month, same); });
}

bool is_number(std::string_view field) noexcept {
  return !field.empty() && std::ranges::all_of(field, [](char c) { return c >= '0' && c <= '9'; });
}

/// What the LIST parser takes out of an `ls -l` line.
struct parsed_long_name {
  std::string_view size;
  std::size_t name_at;
};

/// Walks the line as the LIST parser does, field by field: permissions, links, owner, any number of fields of
/// which the last is the size, month, day, time or year; the name begins one blank later.
std::optional<parsed_long_name> parse_long_name(std::string_view line) noexcept {
  enum class Due { kPermissions, kLinks, kOwner, kFirstSize, kSizeOrMonth, kDay, kTimeOrYear };
  if (line.empty() || kKinds.find(line.front()) == std::string_view::npos) return std::nullopt;
  Due due = Due::kPermissions;
  parsed_long_name found{};
  for (std::size_t at = 0;;) {
    const std::size_t begin = line.find_first_not_of(' ', at);
    const std::size_t end = begin == std::string_view::npos ? begin : line.find(' ', begin);
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view field = line.substr(begin, end - begin);
    at = end + 1;
    switch (due) {
      case Due::kPermissions:
        // A blank or a bracket there announces NetWare, where blanks in front of a name are dropped.
        if (field.size() < 2 || field[1] == '[') return std::nullopt;
        due = Due::kLinks;
        break;
      case Due::kLinks:
        due = field.size() == 6 && field.front() == 'f' ? Due::kFirstSize : Due::kOwner;
        break;
      case Due::kOwner:
        due = Due::kFirstSize;
        break;
      case Due::kFirstSize:
        found.size = field;
        due = Due::kSizeOrMonth;
        break;
      case Due::kSizeOrMonth:
        if (is_month(field)) {
          due = Due::kDay;
        } else {
          found.size = field;
        }
        break;
      case Due::kDay:
        due = Due::kTimeOrYear;
        break;
      case Due::kTimeOrYear:
        if (field.size() < 4) break;
        found.name_at = at;
        return found;
    }
  }
}

/// Where the file name ends in the long name; nothing when the parser would not find this entry in there.
std::optional<std::size_t> end_of_name_in_long_name(const sftp_entry& entry) noexcept {
  const std::string_view line = entry.long_name;
  const auto parsed = parse_long_name(line);
  if (!parsed || line.find('\n') != std::string_view::npos) return std::nullopt;
  const sftp_attributes& attributes = entry.attributes;
  if (tells_kind(attributes) && line.front() != kind_of(attributes)) return std::nullopt;
  if (!is_number(parsed->size)) return std::nullopt;
  if (has(attributes, kSftpHasSize)) {
    const std::size_t digit = std::min(parsed->size.find_first_not_of('0'), parsed->size.size() - 1);
    if (parsed->size.substr(digit) != std::to_string(attributes.filesize)) return std::nullopt;
  }
  const std::string_view shown = line.substr(parsed->name_at);
  if (!shown.starts_with(entry.name)) return std::nullopt;
  const std::string_view behind = shown.substr(entry.name.size());
  if (!behind.empty() && !(line.front() == 'l' && behind.starts_with(kArrow))) return std::nullopt;
  return parsed->name_at + entry.name.size();
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
                kMonthTexts[static_cast<std::size_t>(day.tm_mon)], day.tm_mday, day.tm_year + 1900);
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
  // A server that sends no times leaves the long name's own, unless a `;` in the name would be taken for it.
  const bool timed = has(entry.attributes, kSftpHasTimes);
  if (timed || entry.name.find(';') != std::string_view::npos) {
    append(listing, ";");
    append(listing, std::to_string(timed ? entry.attributes.mtime : 0));
  }
  append(listing, behind_name);
  listing.push_back('\n');
}

}  // namespace ftp_plugin
