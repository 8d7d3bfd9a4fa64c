// The plug-in's own login and option documents, filled in.
#pragma once

#include <json/value.h>

#include <map>
#include <string>

namespace ftp_host {

using FieldValues = std::map<std::string, Json::Value>;

/// `document` with a new "value" in every field: the one in `values`, or else false for a "boolean", the
/// first choice of a choice list, and the empty text for everything else. Throws a Failure when the document
/// cannot be read, and when it lacks a field for which `values` has anything but false or the empty text.
[[nodiscard]] std::string fill_document(const std::string& document, const FieldValues& values);

/// Parses JSON text; throws a Failure that names `what`.
[[nodiscard]] Json::Value parse_json(const std::string& text, const std::string& what);
/// JSON text with an indent of two, UTF-8, ending in a line feed.
[[nodiscard]] std::string json_text(const Json::Value& value);

}  // namespace ftp_host
