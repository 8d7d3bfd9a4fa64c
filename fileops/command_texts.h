// The raw commands and ranges of the file operations, FTP and SFTP form side by side (RFC 959, RFC 3659;
// MFMT: draft-somers-ftp-mfxx). Paths go into them as they stand: FTP bare, SFTP between double quotes,
// unescaped.
#pragma once

#include <curl/curl.h>

#include <string>
#include <string_view>
#include <vector>

namespace ftp_plugin {

/// Whether `text` may stand in a raw command: CURLE_OK, or the code with which the operation fails. A text
/// with a line break is refused (CURLE_URL_MALFORMAT, see transport/one_line.h). On SFTP a double quote would
/// end the name and a backslash would change it, and libcurl would take another file (CURLE_QUOTE_ERROR).
[[nodiscard]] CURLcode check_command_text(std::string_view text, bool is_sftp) noexcept;

[[nodiscard]] std::string make_directory_command(const std::string& path, bool is_sftp);
[[nodiscard]] std::string delete_command(const std::string& path, bool is_sftp, bool directory);

/// One command on SFTP, two on FTP, to be sent in this order.
[[nodiscard]] std::vector<std::string> rename_commands(const std::string& from, const std::string& to,
                                                       bool is_sftp);

/// Sets the modification time of `path` (FTP only). `time` begins as YYYY-MM-DDThh:mm:ss; numbers that are
/// missing are sent as 0, and what follows the seconds is ignored: the clock time is sent as written.
[[nodiscard]] std::string set_time_command(const std::string& path, const std::string& time);

}  // namespace ftp_plugin
