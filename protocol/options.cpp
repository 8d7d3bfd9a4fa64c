#include <cstdlib>
#include <string>
#include <utility>

#include "boundary/no_throw.h"
#include "common/ascii.h"
#include "protocol/form_values.h"
#include "protocol/protocol.h"
#include "protocol/server_url.h"

namespace ftp_plugin {
namespace {

/// The settings value of a choice in the dialog.
const char* charset_setting(const std::string& choice) {
  if (choice == "Local charset") return "local";
  return choice == "Force UTF-8" ? "utf8" : "auto";
}

void store_option(settings_map& options, const std::string& field, JsonObject& value) {
  if (field == "use_server_time") {
    options[key::use_local_timestamp] = boolean_text(!static_cast<bool>(value));
  } else if (field == "charset") {
    options[key::charset] = charset_setting(static_cast<std::string>(value));
  } else if (field == key::proxy_type || field == key::proxy_host || field == key::proxy_port ||
             field == key::proxy_user) {
    options[field] = static_cast<std::string>(value);
  } else if (field == key::proxy_password) {
    options[key::proxy_pwd] = static_cast<std::string>(value);
  }
}

}  // namespace

AERROR Protocol::SetOpt(const char* name, const char* value) {
  return no_throw("SetOpt", SUCCESS, [&] {
    if (name == nullptr || value == nullptr) return SUCCESS;
    if (ascii::equal_ignoring_case(name, "speedlimit")) {
      speed_limit = std::atoll(value);
    } else if (ascii::equal_ignoring_case(name, "option_fields")) {
      for_each_form_value("SetOpt", value, [this](const std::string& field, JsonObject& entry) {
        store_option(options, field, entry);
      });
    }
    return SUCCESS;
  });
}

void Protocol::parseURL(std::string url) {
  server_url parts = split_server_url(url);
  options[key::url] = std::move(parts.url);
  if (parts.ssl) options[key::ssl] = *parts.ssl;
  if (parts.type) options[key::type] = *parts.type;
  options[key::root_path] = std::move(parts.root_path);
}

}  // namespace ftp_plugin
