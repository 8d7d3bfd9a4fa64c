// The one rule for line breaks in what goes out to a server.
#pragma once

#include <string_view>

namespace ftp_plugin {

/// Whether `text` holds neither CR nor LF. Either of them would end an FTP command, and the server would take
/// what follows for the next one. What goes into commands or becomes a new name keeps to it on SFTP as well,
/// so that what a host may write does not depend on the kind of server.
[[nodiscard]] constexpr bool is_one_line(std::string_view text) noexcept {
  return text.find_first_of("\r\n") == std::string_view::npos;
}

}  // namespace ftp_plugin
