#include "fileops/command_texts.h"

#include <cstdio>

#include "common/string_format.h"
#include "transport/one_line.h"

namespace ftp_plugin {

CURLcode check_command_text(std::string_view text, bool is_sftp) noexcept {
  if (!is_one_line(text)) return CURLE_URL_MALFORMAT;
  if (is_sftp && text.find_first_of("\"\\") != std::string_view::npos) return CURLE_QUOTE_ERROR;
  return CURLE_OK;
}

std::string make_directory_command(const std::string& path, bool is_sftp) {
  return string_format(is_sftp ? "mkdir \"%s\"" : "MKD %s", path.c_str());
}

std::string delete_command(const std::string& path, bool is_sftp, bool directory) {
  if (is_sftp) return string_format(directory ? "rmdir \"%s\"" : "rm \"%s\"", path.c_str());
  return string_format(directory ? "RMD %s" : "DELE %s", path.c_str());
}

std::vector<std::string> rename_commands(const std::string& from, const std::string& to, bool is_sftp) {
  if (is_sftp) return {string_format("rename \"%s\" \"%s\"", from.c_str(), to.c_str())};
  return {string_format("RNFR %s", from.c_str()), string_format("RNTO %s", to.c_str())};
}

std::string set_time_command(const std::string& path, const std::string& time) {
  unsigned short year = 0;
  unsigned short month = 0;
  unsigned short day = 0;
  unsigned short hour = 0;
  unsigned short minute = 0;
  unsigned short second = 0;
  (void)std::sscanf(time.c_str(), "%hu-%hu-%huT%hu:%hu:%hu", &year, &month, &day, &hour, &minute, &second);
  return string_format("MFMT %04d%02d%02d%02d%02d%02d %s", int{year}, int{month}, int{day}, int{hour},
                       int{minute}, int{second}, path.c_str());
}

}  // namespace ftp_plugin
