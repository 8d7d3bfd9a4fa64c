#include <utility>

#include "protocol/protocol.h"
#include "transport/remote_path.h"

namespace ftp_plugin {

std::string Protocol::full_path(std::string base, const char* id) const {
  return join_remote_path(options, std::move(base), id);
}

std::string Protocol::request_url(connection& con, const char* id) const {
  const std::string* server = find_setting(options, key::url);
  return encode_behind(server == nullptr ? "" : *server, full_path(con.get_url(), id));
}

}  // namespace ftp_plugin
