#include <algorithm>
#include <string>

#include "boundary/log.h"
#include "boundary/no_throw.h"
#include "protocol/form_values.h"
#include "protocol/protocol.h"

namespace ftp_plugin {
namespace {

constexpr const char* kExplicitLine = "[PROTOCOL  ] %s with explicit FTPS url:%s, return %d";
constexpr const char* kImplicitLine = "[PROTOCOL  ] %s with implicit FTPS url:%s, return %d";

/// Stores one field of the login document other than the URL. User and password count only when the field
/// "anonymous" came before them with the value false.
void store_login_field(settings_map& options, const std::string& field, JsonObject& value) {
  if (field == key::active || field == key::anonymous) {
    options[field] = boolean_text(static_cast<bool>(value));
  } else if (field == "user" || field == "password") {
    if (!is_false(options, key::anonymous)) return;
    options[field == "user" ? key::user : key::pwd] = static_cast<std::string>(value);
  } else if (field == key::proxy_host || field == key::proxy_port || field == key::proxy_user ||
             field == key::proxy_password) {
    options[field] = static_cast<std::string>(value);
  }
}

}  // namespace

void Protocol::store_login_fields(const char* fields) {
  for_each_form_value("Connect", fields, [this](const std::string& field, JsonObject& value) {
    if (field == "url") {
      parseURL(static_cast<std::string>(value));
    } else {
      store_login_field(options, field, value);
    }
  });
}

AERROR Protocol::log_in(const char* log_format) {
  connections = std::make_shared<pool>(options);
  const AERROR result = connections->TestConnect();
  __LOG__A(current_logger(), LOGLEVEL_INFO, log_format, "Connect", options[key::url].c_str(), result);
  return result;
}

AERROR Protocol::Connect(IProtocolAuth*, const char* fields) {
  return no_throw("Connect", FAILED, [&] {
    store_login_fields(fields);
    std::string& url = options[key::url];
    const std::size_t root_length = options[key::root_path].size();
    url.resize(url.size() - std::min(url.size(), root_length));  // from here on "url" names the server only
    if (starts_at_home()) url += "/~";

    AERROR result = log_in(kExplicitLine);
    if (result == FAILED) {
      if (!is_true(options, key::ssl)) return FAILED;
      options[key::url].replace(0, kFtpScheme.size(), kFtpsScheme);  // implicit TLS
      result = log_in(kImplicitLine);
    }
    if (result == SUCCESS) file_time_mode = SetFileTimeSupportMode();
    return result;
  });
}

}  // namespace ftp_plugin
