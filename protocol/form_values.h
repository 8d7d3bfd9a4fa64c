// Reads the documents of protocol/field_descriptors.h as the host sends them back, filled in.
// Free function without state, safe from any thread.
#pragma once

#include <functional>
#include <string>

#include "common/json_object.h"

namespace ftp_plugin {

/// Calls `apply` with the key and the "value" of every field of `document`, group by group, in order. The
/// value is null when the field has none, and lives for the call only. `document` may be null.
///
/// What can be read of a document counts. The walk ends at the first thing that has another shape, or where
/// `apply` throws, as the conversions of JsonObject do for a value of the wrong kind. That is no error: the
/// fields before it have been applied, and a line in the log under the name `operation` tells why. Text that
/// is no JSON holds no field. The walk passes over groups without "data" and elements of "data" without a
/// key. Of an element with several members only the first counts.
void for_each_form_value(
    const char* operation, const char* document,
    const std::function<void(const std::string& key, JsonObject& value)>& apply) noexcept;

}  // namespace ftp_plugin
