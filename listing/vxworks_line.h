// The LIST replies of VxWorks servers: recognising them by their column header, and reading their lines
// (size, date, time, name). Free functions without state, safe from any thread.
#pragma once

#include <string_view>

#include "boundary/abi/file_record.h"

namespace ftp_plugin {

/// Fills `record` with as many columns as `line` has; a column counts from its first byte on.
/// `line`   ends at its first NUL byte, if it holds one.
/// Returns  whether the line has a name. What stands before that is set either way.
[[nodiscard]] bool parse_vxworks_line(std::string_view line, _FS_FILE_V2& record);

/// Whether `first_line` is the column header "size date time name", with any blanks between the words.
/// Does not return when the line holds another word where one of the four is due. In a build that was
/// configured with FTP_BOUNDED_HEADER_SCAN it returns false then.
[[nodiscard]] bool is_vxworks_server(std::string_view first_line);

}  // namespace ftp_plugin
