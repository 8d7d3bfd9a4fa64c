#include "listing/ftpparse.h"

#include <cstddef>
#include <string_view>

#include "common/ascii.h"
#include "listing/wrapping.h"

namespace ftp_plugin {
namespace {

constexpr char kBlank = ' ';
constexpr std::string_view kLinkArrow = " -> ";
constexpr std::string_view kDirSuffix = ".DIR";
constexpr std::string_view kNetWareIndent = "   ";

/// Decimal reading. Kept on purpose: no character is checked. Servers put letters into columns where a number
/// is due (a size column that holds "1,024", a minute column that runs on to the next `A`), and the entry is
/// delivered all the same with whatever number comes out; a check would drop it. Bytes from 0x80 on count as
/// negative, on every machine. Wraps at 64 bits.
/// Pinned by Getlong rows of tests/unit/listing/ftpparse_test.cpp.
std::int64_t getlong(std::string_view digits) noexcept {
  std::uint64_t value = 0;
  for (const char digit : digits) {
    const std::int64_t step = static_cast<signed char>(digit) - '0';
    value = value * 10 + static_cast<std::uint64_t>(step);
  }
  return static_cast<std::int64_t>(value);
}

/// 0 for "jan" to 11 for "dec", each letter in either case; -1 for anything else.
int getmonth(std::string_view field) noexcept {
  constexpr std::string_view kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                          "jul", "aug", "sep", "oct", "nov", "dec"};
  if (field.size() != 3) return -1;
  for (int month = 0; month < 12; ++month) {
    bool same = true;
    for (std::size_t i = 0; i < 3 && same; ++i) {
      const char lower = kMonths[month][i];
      same = field[i] == lower || field[i] == lower - 32;
    }
    if (same) return month;
  }
  return -1;
}

/// Seconds of a time of day.
std::int64_t clock_time(std::int64_t hour, std::int64_t minute) noexcept {
  return wrapping_add(wrapping_mul(hour, 3600), wrapping_mul(minute, 60));
}

/// Walks the columns of a line. Reading to a character that does not come, or standing at the end where more
/// is due, is a failure: the line is not understood.
class column_reader {
 public:
  explicit column_reader(std::string_view line) noexcept : rest_{line} {}

  /// Takes the bytes up to the first of `ends` and stops on that one.
  [[nodiscard]] bool read_up_to(std::string_view ends, std::string_view& taken) noexcept {
    const std::size_t end = rest_.find_first_of(ends);
    if (end == std::string_view::npos) return false;
    taken = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return true;
  }
  [[nodiscard]] bool read_up_to(std::string_view ends, std::int64_t& number) noexcept {
    std::string_view taken;
    if (!read_up_to(ends, taken)) return false;
    number = getlong(taken);
    return true;
  }
  [[nodiscard]] bool skip_up_to(char end) noexcept {
    std::string_view taken;
    return read_up_to({&end, 1}, taken);
  }
  /// Steps over every `character` that stands here; false when nothing follows.
  [[nodiscard]] bool skip_all(char character) noexcept {
    const std::size_t next = rest_.find_first_not_of(character);
    if (next == std::string_view::npos) return false;
    rest_.remove_prefix(next);
    return true;
  }
  [[nodiscard]] bool at_end() const noexcept { return rest_.empty(); }
  [[nodiscard]] char current() const noexcept { return rest_.front(); }
  void step() noexcept { rest_.remove_prefix(1); }
  [[nodiscard]] std::string_view rest() const noexcept { return rest_; }

 private:
  std::string_view rest_;
};

class line_parser {
 public:
  line_parser(struct ftpparse& fp, std::string_view line, const list_clock* clock) noexcept
      : fp_{fp}, line_{line}, clock_{clock} {}

  [[nodiscard]] bool parse() noexcept {
    if (line_.size() < 2) return false;
    switch (line_.front()) {
      case '+':
        return parse_eplf();
      case 'b':
      case 'c':
      case 'd':
      case 'l':
      case 'p':
      case 's':
      case '-':
        return parse_unix();
      default:
        break;
    }
    const std::size_t semicolon = line_.find(';');
    if (semicolon != std::string_view::npos) return parse_multinet(semicolon);
    if (ascii::is_digit(line_.front())) return parse_dos();
    // Summary lines end here: "total 42", "Total of 7 files", the header of a VMS directory.
    return false;
  }

 private:
  void set_name(std::string_view name) noexcept {
    fp_.name = name.data();
    fp_.namelen = static_cast<std::int32_t>(name.size());
  }

  /// `count` is in the day count of totai.
  void set_time(std::int32_t type, std::int64_t count) noexcept {
    fp_.mtimetype = type;
    fp_.mtime = wrapping_add(list_base(), count);
  }

  // "+i4471.20077,m1262304000,r,s512,\treport.txt": facts, a TAB, the name.
  bool parse_eplf() noexcept {
    std::string_view rest = line_.substr(1);
    for (;;) {
      const std::size_t end = rest.find_first_of(",\t");
      if (end == std::string_view::npos) return false;
      eplf_fact(rest.substr(0, end));
      const bool last = rest[end] == '\t';
      rest.remove_prefix(end + 1);
      if (last) break;
    }
    set_name(rest);
    return true;
  }

  void eplf_fact(std::string_view fact) noexcept {
    if (fact.empty()) return;
    const std::string_view value = fact.substr(1);
    switch (fact.front()) {
      case '/':
        fp_.flagtrycwd = 1;
        break;
      case 'r':
        fp_.flagtryretr = 1;
        break;
      case 's':
        fp_.sizetype = 1;
        fp_.size = getlong(value);
        break;
      case 'm':
        set_time(1, getlong(value));
        break;
      case 'i':
        fp_.idtype = 1;
        fp_.id = value.data();
        fp_.idlen = static_cast<std::int32_t>(value.size());
        break;
      default:
        break;
    }
  }

  // "-rw-r--r--   1 owner group   1234 Jan  5 12:34 a b.txt"
  bool parse_unix() noexcept {
    switch (line_.front()) {
      case 'd':
        fp_.flagtrycwd = 1;
        break;
      case '-':
        fp_.flagtryretr = 1;
        break;
      case 'l':  // what it points to shows only when it is followed
        fp_.flagtrycwd = 1;
        fp_.flagtryretr = 1;
        break;
      default:
        break;
    }
    std::string_view name;
    if (!unix_columns(name)) return false;
    fp_.sizetype = 1;
    if (line_.front() == 'l') name = name.substr(0, name.find(kLinkArrow));
    // NetWare writes "d [R----F--] ..." or "- [...". It sets its names off by three blanks more.
    if ((line_[1] == kBlank || line_[1] == '[') && name.size() > kNetWareIndent.size() &&
        name.substr(0, kNetWareIndent.size()) == kNetWareIndent) {
      name.remove_prefix(kNetWareIndent.size());
    }
    set_name(name);
    return true;
  }

  /// Reads size and time from the columns before the name; false when they are not all there.
  bool unix_columns(std::string_view& name) noexcept {
    enum class due { permissions, links, owner, first_size, month, day, time_or_year };
    due state = due::permissions;
    std::int64_t month = 0;
    std::int64_t day = 0;
    std::size_t begin = 0;
    for (;;) {
      // A column counts only when a blank ends it: the last word of the line is none.
      const std::size_t end = line_.find(kBlank, begin);
      if (end == std::string_view::npos) return false;
      const std::string_view field = line_.substr(begin, end - begin);
      switch (state) {
        case due::permissions:
          state = due::links;
          break;
        case due::links:
          // NetPresenz writes "folder" where a directory's link count and owner are due.
          state = field.size() == 6 && field.front() == 'f' ? due::first_size : due::owner;
          break;
        case due::owner:
          state = due::first_size;
          break;
        case due::first_size:
          fp_.size = getlong(field);
          state = due::month;
          break;
        case due::month: {
          // Any number of columns may stand before the month; the size is the last of them.
          const int index = getmonth(field);
          if (index < 0) {
            fp_.size = getlong(field);
          } else {
            month = index;
            state = due::day;
          }
          break;
        }
        case due::day:
          day = getlong(field);
          state = due::time_or_year;
          break;
        case due::time_or_year:
          if (unix_time(field, month, day)) {
            name = line_.substr(end + 1);
            return true;
          }
          break;
      }
      begin = line_.find_first_not_of(kBlank, end);
      if (begin == std::string_view::npos) return false;
    }
  }

  /// "9:05", "12:34" or "2019"; false for a field too short to be any of them.
  bool unix_time(std::string_view field, std::int64_t month, std::int64_t day) noexcept {
    const std::size_t colon = field.size() == 4 ? 1 : 2;
    if ((field.size() == 4 || field.size() == 5) && field[colon] == ':') {
      const std::int64_t hour = getlong(field.substr(0, colon));
      const std::int64_t minute = getlong(field.substr(colon + 1));
      const std::int64_t midnight = clock_ == nullptr ? guesstai(month, day) : guesstai(month, day, *clock_);
      set_time(2, wrapping_add(midnight, clock_time(hour, minute)));
      return true;
    }
    if (field.size() < 4) return false;
    set_time(3, totai(getlong(field), month, day));
    return true;
  }

  // "FILE.DIR;1  1 1-JAN-2020 10:00 [x] (RWED)"
  bool parse_multinet(std::size_t semicolon) noexcept {
    std::string_view name = line_.substr(0, semicolon);
    if (name.size() > kDirSuffix.size() && name.substr(name.size() - kDirSuffix.size()) == kDirSuffix) {
      name.remove_suffix(kDirSuffix.size());
      fp_.flagtrycwd = 1;
    } else {
      fp_.flagtryretr = 1;
    }
    column_reader columns{line_.substr(semicolon)};
    if (!columns.skip_up_to(kBlank) || !columns.skip_all(kBlank)) return false;  // the version
    if (!columns.skip_up_to(kBlank) || !columns.skip_all(kBlank)) return false;  // the size in blocks
    std::int64_t day = 0;
    std::string_view month_name;
    std::int64_t year = 0;
    std::int64_t hour = 0;
    std::int64_t minute = 0;
    if (!columns.read_up_to("-", day) || !columns.skip_all('-')) return false;
    if (!columns.read_up_to("-", month_name)) return false;
    const int month = getmonth(month_name);
    if (month < 0 || !columns.skip_all('-')) return false;
    if (!columns.read_up_to(" ", year) || !columns.skip_all(kBlank)) return false;
    if (!columns.read_up_to(":", hour) || !columns.skip_all(':')) return false;
    if (!columns.read_up_to(": ", minute)) return false;
    set_time(2, wrapping_add(totai(year, month, day), clock_time(hour, minute)));
    set_name(name);  // only now: a line that fails on its way leaves no name
    return true;
  }

  // "12-31-99  11:59PM       <DIR>          Folder", "01-02-03  12:00AM   42 f"
  bool parse_dos() noexcept {
    column_reader columns{line_};
    std::int64_t month = 0;
    std::int64_t day = 0;
    std::int64_t year = 0;
    std::int64_t hour = 0;
    std::int64_t minute = 0;
    if (!columns.read_up_to("-", month) || !columns.skip_all('-')) return false;
    if (!columns.read_up_to("-", day) || !columns.skip_all('-')) return false;
    if (!columns.read_up_to(" ", year) || !columns.skip_all(kBlank)) return false;
    month = wrapping_sub(month, 1);
    if (year < 50) year = wrapping_add(year, 2000);
    if (year < 1000) year = wrapping_add(year, 1900);

    if (!columns.read_up_to(":", hour) || !columns.skip_all(':')) return false;
    if (!columns.read_up_to("AP", minute)) return false;
    if (hour == 12) hour = 0;
    if (columns.current() == 'P') hour = wrapping_add(hour, 12);
    columns.step();
    if (columns.at_end()) return false;
    if (columns.current() == 'M') columns.step();
    if (!columns.skip_all(kBlank)) return false;

    if (columns.current() == '<') {
      fp_.flagtrycwd = 1;
      if (!columns.skip_up_to(kBlank)) return false;
    } else {
      if (!columns.read_up_to(" ", fp_.size)) return false;
      fp_.sizetype = 1;
      fp_.flagtryretr = 1;
    }
    if (!columns.skip_all(kBlank)) return false;
    set_time(2, wrapping_add(totai(year, month, day), clock_time(hour, minute)));
    set_name(columns.rest());
    return true;
  }

  struct ftpparse& fp_;
  std::string_view line_;
  const list_clock* clock_;
};

}  // namespace

int ftpparse(struct ftpparse* fp, const char* buf, int len, const list_clock* clock) noexcept {
  *fp = {};
  if (len <= 0) return 0;
  return line_parser{*fp, std::string_view{buf, static_cast<std::size_t>(len)}, clock}.parse() ? 1 : 0;
}

}  // namespace ftp_plugin
