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
/// A document is taken for what can be read of it: the walk ends, without an error, where it meets something
/// that is not of the expected shape or where `apply` throws (the conversions of JsonObject do so for a value
/// of the wrong kind), and everything before that point has been applied; a line in the log under the name
/// `operation` tells why. Text that is no JSON holds no field. Groups without "data" and elements of "data"
/// without a key hold no field either; the walk goes on behind them. Of an element with several members only
/// the first key counts.
void for_each_form_value(
    const char* operation, const char* document,
    const std::function<void(const std::string& key, JsonObject& value)>& apply) noexcept;

}  // namespace ftp_plugin
