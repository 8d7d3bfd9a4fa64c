#include "transport/sftp/sftp_attributes.h"

#include <cstring>

namespace ftp_plugin {

std::size_t write_attrs(void* data, std::size_t size, std::size_t nmemb, void* userdata) noexcept {
  // The callback stays set on a handle, and a later reply may be shorter than a record: do not read past it.
  if (userdata != nullptr && size * nmemb >= sizeof(sftp_attributes)) {
    std::memcpy(userdata, data, sizeof(sftp_attributes));
  }
  return nmemb;
}

}  // namespace ftp_plugin
