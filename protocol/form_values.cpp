#include "protocol/form_values.h"

#include <vector>

#include "boundary/log.h"

namespace ftp_plugin {
namespace {

using apply_function = std::function<void(const std::string& key, JsonObject& value)>;

// Sizes below are those of arrays and of objects alike. An object with members is no array: asking it for an
// element throws, as asking a text or a number for a member does. Null has no size and no members, which also
// makes it the same as a missing "data" or "value".
void walk_group(const JsonObject& group, const apply_function& apply) {
  const JsonObject data = group["data"];
  for (unsigned int n = 0; n < data.GetArraySize(); ++n) {
    const JsonObject element = data[static_cast<int>(n)];
    const std::vector<std::string> keys = element.GetKeys();
    if (keys.empty()) {
      continue;
    }
    JsonObject value = element[keys.front().c_str()]["value"];
    apply(keys.front(), value);
  }
}

}  // namespace

void for_each_form_value(const char* operation, const char* document, const apply_function& apply) noexcept {
  try {
    const JsonObject groups{document};
    for (unsigned int n = 0; n < groups.GetArraySize(); ++n) {
      walk_group(groups[static_cast<int>(n)], apply);
    }
  } catch (...) {
    log_exception(operation);  // the host is told nothing else about the shape of its documents
  }
}

}  // namespace ftp_plugin
