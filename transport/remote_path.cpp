#include "transport/remote_path.h"

#include <algorithm>
#include <utility>

#include "boundary/log.h"
#include "common/url_encode.h"

namespace ftp_plugin {

std::string join_remote_path(const settings_map& settings, std::string base, const char* id) {
  std::string path = std::move(base);
  if (const std::string* root = find_setting(settings, key::root_path)) path += *root;
  const char* name = text_or_empty(id);
  if (*name != '/') path += '/';
  path += name;
  const bool home_is_root =
      setting_is(settings, key::type, "sftp") && setting_is(settings, key::sftp_root, "false");
  if (home_is_root && path.front() == '/') path.erase(0, 1);
  if (setting_is(settings, key::type, "ftp") && path.size() > 1 && path.front() == '/') path.erase(0, 1);
  return path;
}

std::string encode_behind(const std::string& server, const std::string& url) {
  return server + URLEncode(url.substr(std::min(server.size(), url.size())).c_str());
}

}  // namespace ftp_plugin
