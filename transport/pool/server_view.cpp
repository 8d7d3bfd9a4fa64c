#include "transport/pool/server_view.h"

#include <stdexcept>

#include "boundary/log.h"
#include "common/charset.h"

namespace ftp_plugin {

const std::shared_ptr<pool>& server_view::connected_pool() const {
  if (connections == nullptr) throw std::logic_error{"no login yet"};
  return connections;
}

std::string command_path(const server_view& server, const char* id) { return command_path(server.paths, id); }

std::string request_url(const server_view& server, connection& con, const char* id) {
  return encode_behind(server.url, url_path(server.paths, con.get_url(), id));
}

std::string encode_name(const server_view& server, std::string name, bool convert) {
  if (!convert || server.is_sftp) return name;  // SFTP names are always UTF-8
  try {
    const converter to_server{server.server_charset.c_str(), "UTF-8"};
    if (!to_server) return name;
    return convert_name(to_server, name).value_or(name);
  } catch (...) {
    log_exception("_encode");
    return name;
  }
}

}  // namespace ftp_plugin
