// Entries as lines and as JSON.
#pragma once

#include <json/value.h>

#include <string>

#include "host/remote/session.h"

namespace ftp_host {

/// "-       12345  2024-03-05 07:08:09  ", in front of a name: kind, size and local time. "?" stands for
/// what is unknown.
[[nodiscard]] std::string long_prefix(const Entry& entry);
/// {"name", "path", "type": "file" or "directory", "size" (files only), "modified" (UTC)}. Unknown values are
/// null; foreign bytes in names are U+FFFD.
[[nodiscard]] Json::Value entry_json(const Entry& entry);

}  // namespace ftp_host
