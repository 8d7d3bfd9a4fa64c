#include "common/charset.h"
#include "protocol/protocol.h"

namespace ftp_plugin {

std::string Protocol::_encode(std::string name, bool convert) const {
  if (!convert || is_sftp()) return name;  // SFTP names are always UTF-8
  try {
    const converter to_server{server_charset.c_str(), "UTF-8"};
    if (!to_server) return name;
    return convert_name(to_server, name).value_or(name);
  } catch (...) {
    return name;
  }
}

int do_print(unsigned int count, const char* const* names, void* data) {
  auto& charset_names = static_cast<Protocol*>(data)->charset_names;
  for (unsigned int i = 0; i < count; ++i) charset_names.emplace_back(names[i]);
  return 0;
}

}  // namespace ftp_plugin
