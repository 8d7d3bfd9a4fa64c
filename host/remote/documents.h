// The plug-in's own login and option documents, filled in.
#pragma once

#include <json/value.h>

#include <map>
#include <string>

namespace ftp_host {

using FieldValues = std::map<std::string, Json::Value>;

/// `document` with "value" of every field replaced: by the entry of `values`, else by false for a "boolean",
/// by the first choice of a choice list, and by the empty text for everything else. Throws a Failure when the
/// document cannot be read, and when it has no field for an entry of `values` that is neither false nor
/// empty.
[[nodiscard]] std::string fill_document(const std::string& document, const FieldValues& values);

/// Parses JSON text; throws a Failure that names `what`.
[[nodiscard]] Json::Value parse_json(const std::string& text, const std::string& what);
/// JSON text with an indent of two, UTF-8, ending in a line feed.
[[nodiscard]] std::string json_text(const Json::Value& value);

}  // namespace ftp_host
