#include "transport/remote_path.h"

#include <algorithm>
#include <utility>

#include "boundary/log.h"
#include "common/url_encode.h"

namespace ftp_plugin {
namespace {

bool drops_leading_slash(const std::string& path, path_origin origin) noexcept {
  if (!path.starts_with('/')) return false;
  return origin == path_origin::kHomeDirectory || (origin == path_origin::kLoginDirectory && path.size() > 1);
}

}  // namespace

std::string command_path(const path_rules& rules, const char* id) { return url_path(rules, {}, id); }

std::string url_path(const path_rules& rules, std::string url, const char* id) {
  std::string path = std::move(url);
  path += rules.root_path;
  const char* name = text_or_empty(id);
  if (*name != '/') path += '/';
  path += name;
  if (drops_leading_slash(path, rules.origin)) path.erase(0, 1);
  return path;
}

std::string encode_behind(std::string_view server, const std::string& url) {
  return std::string{server} + URLEncode(url.substr(std::min(server.size(), url.size())).c_str());
}

}  // namespace ftp_plugin
