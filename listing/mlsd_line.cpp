#include "listing/mlsd_line.h"

#include <cstddef>
#include <string>

#include "common/ascii.h"
#include "listing/c_number.h"

namespace ftp_plugin {
namespace {

/// Appends the `length` characters of `value` from `offset` on, or as many of them as there are.
void append_piece(std::string& text, std::string_view value, std::size_t offset, std::size_t length) {
  if (offset < value.size()) text.append(value.substr(offset, length));
}

/// YYYYMMDDHHMMSS..., cut at fixed places. Kept on purpose: nothing is checked. A value that is too short
/// leaves its missing pieces empty ("2020" gives "2020--T::.000Z"), and a fraction of a second is dropped.
/// A host that compares times with their last value would see a difference.
/// Pinned by the Modify rows of tests/unit/listing/mlsd_line_test.cpp.
void set_times(std::string_view value, _FS_FILE_V2& record) {
  constexpr std::size_t kWhole = 14;
  std::string& text = record.create_time;
  if (value.size() >= kWhole) {
    char out[] = "YYYY-MM-DDThh:mm:ss.000Z";
    value.copy(out, 4, 0);
    value.copy(out + 5, 2, 4);
    value.copy(out + 8, 2, 6);
    value.copy(out + 11, 2, 8);
    value.copy(out + 14, 2, 10);
    value.copy(out + 17, 2, 12);
    text.assign(out, sizeof out - 1);
  } else {
    text.clear();
    append_piece(text, value, 0, 4);
    text += '-';
    append_piece(text, value, 4, 2);
    text += '-';
    append_piece(text, value, 6, 2);
    text += 'T';
    append_piece(text, value, 8, 2);
    text += ':';
    append_piece(text, value, 10, 2);
    text += ':';
    append_piece(text, value, 12, 2);
    text += ".000Z";
  }
  record.access_time = text;
  record.modify_time = text;
}

void apply_fact(std::string_view name, std::string_view value, _FS_FILE_V2& record) {
  switch (name.size()) {  // no two facts that are read need more than a look at their length to start with
    case 4:
      if (ascii::equal_ignoring_case(name, "type")) {
        // Values do not fold: "File" is no file. "cdir" and "pdir" are directories like any other. A size
        // behind the type of a directory stays, one before it does not: facts count in their order. A host
        // that shows sizes of directories would notice. Pinned by the Facts rows of
        // tests/unit/listing/mlsd_line_test.cpp.
        if (value == "file") {
          record.attr = FS_ATTR_FILE;
        } else {
          record.attr = FS_ATTR_DIRECTORY;
          record.size = 0;
        }
      } else if (ascii::equal_ignoring_case(name, "size") || ascii::equal_ignoring_case(name, "sizd")) {
        record.size = atoll_of(value);
      }
      break;
    case 6:
      if (ascii::equal_ignoring_case(name, "modify")) set_times(value, record);
      break;
    default:
      break;
  }
}

}  // namespace

void parse_mlsd_line(std::string_view line, _FS_FILE_V2& record) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return;
  record.name.assign(line.substr(blank + 1));

  std::string_view facts = line.substr(0, blank);
  while (!facts.empty()) {
    const std::size_t end = facts.find(';');
    const std::string_view fact = facts.substr(0, end);
    const std::size_t equals = fact.find('=');
    if (equals != std::string_view::npos) apply_fact(fact.substr(0, equals), fact.substr(equals + 1), record);
    if (end == std::string_view::npos) break;
    facts.remove_prefix(end + 1);
  }
}

}  // namespace ftp_plugin
