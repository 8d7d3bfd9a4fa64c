#include "protocol/server_url.h"

#include <cstddef>
#include <string_view>

#include "transport/server_settings.h"

namespace ftp_plugin {
namespace {

void drop_last_slash(std::string& text) noexcept {
  if (!text.empty() && text.back() == '/') {
    text.pop_back();
  }
}

/// Where the first "/" is that does not belong to "://"; npos when there is none.
std::size_t path_start(const std::string& url) noexcept {
  constexpr std::string_view kMark = "://";
  const std::size_t mark = url.find(kMark);
  return url.find('/', mark == std::string::npos ? 0 : mark + kMark.size());
}

}  // namespace

server_url split_server_url(const std::string& url) {
  server_url result;
  result.url = url;
  if (const url_scheme scheme = scheme_of(url); scheme != url_scheme::kNone) {
    result.ssl = boolean_text(scheme == url_scheme::kFtps);
    result.type = scheme == url_scheme::kSftp ? "sftp" : "ftp";
    // From here on only `ssl` tells that TLS is wanted.
    if (scheme == url_scheme::kFtps) result.url.replace(0, kFtpsScheme.size(), kFtpScheme);
  }

  std::string rest = result.url;
  drop_last_slash(rest);
  if (const std::size_t start = path_start(rest); start != std::string::npos) {
    result.root_path = rest.substr(start);
  }
  drop_last_slash(result.root_path);
  return result;
}

}  // namespace ftp_plugin
