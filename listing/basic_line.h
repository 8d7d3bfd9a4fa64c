// One line of a LIST reply, in any layout of ftpparse.h, to one record. Also the lines of an SFTP listing,
// which may carry their exact time behind the name. Knows no connection: the caller hands in what follows a
// symbolic link.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "boundary/abi/file_record.h"
#include "listing/ftpparse_time.h"

namespace ftp_plugin {

/// Fills attribute and size of the empty record `target` with what stands at `full_path`, a link's target;
/// leaves it empty when that cannot be found out.
using link_follower = std::function<void(const std::string& full_path, _FS_FILE_V2& target)>;

/// What a line does not say about itself. Everything is borrowed for the call.
struct basic_line_context {
  const char* path = nullptr;  ///< the listed directory; may be null
  bool is_sftp = false;
  /// Asked for the links of SFTP listings only. Null or empty: links have no target.
  const link_follower* follow_link = nullptr;
  const list_clock* clock = nullptr;  ///< decides years that are left out; null: the machine's clock
};

/// Fills name, size, attribute and the three time texts.
/// `line`   without line end.
/// Returns  false, with `record` untouched, when no layout fits.
[[nodiscard]] bool parse_basic_line(std::string_view line, const basic_line_context& context,
                                    _FS_FILE_V2& record);

}  // namespace ftp_plugin
