#include "host/remote/documents.h"

#include <fmt/format.h>
#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <set>

#include "host/failure.h"

namespace ftp_host {
namespace {

constexpr std::string_view kChoices = "string:";

Json::Value blank_value(const std::string& kind) {
  if (kind == "boolean") return false;
  if (!kind.starts_with(kChoices)) return "";
  const std::string choices = kind.substr(kChoices.size());
  return choices.substr(0, choices.find('/'));
}

bool asks_for_nothing(const Json::Value& value) {
  return value.isBool() ? !value.asBool() : value.asString().empty();
}

}  // namespace

Json::Value parse_json(const std::string& text, const std::string& what) {
  Json::Value value;
  std::string errors;
  const std::unique_ptr<Json::CharReader> reader{Json::CharReaderBuilder{}.newCharReader()};
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
    throw Failure{ExitCode::other, fmt::format("{}: not JSON: {}", what, errors)};
  }
  return value;
}

std::string json_text(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  builder["precision"] = 6;
  return Json::writeString(builder, value) + "\n";
}

std::string fill_document(const std::string& document, const FieldValues& values) {
  Json::Value groups = parse_json(document, "the plug-in's document");
  std::set<std::string> missing;
  for (const auto& [key, value] : values) {
    if (!asks_for_nothing(value)) missing.insert(key);
  }
  for (Json::Value& group : groups) {
    for (Json::Value& element : group["data"]) {
      for (const std::string& key : element.getMemberNames()) {
        Json::Value& field = element[key];
        const auto given = values.find(key);
        field["value"] = given != values.end() ? given->second : blank_value(field["value"].asString());
        missing.erase(key);
      }
    }
  }
  if (!missing.empty()) {
    throw Failure{ExitCode::usage, fmt::format("the plug-in has no field \"{}\"", *missing.begin())};
  }
  return json_text(groups);
}

}  // namespace ftp_host
