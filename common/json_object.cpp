#include "common/json_object.h"

#include <algorithm>
#include <codecvt>
#include <cstdint>
#include <cstring>
#include <locale>
#include <string_view>
#include <utility>

namespace ftp_plugin {
namespace {

using utf8_converter = std::wstring_convert<std::codecvt_utf8<wchar_t, 0x10FFFF>>;

}  // namespace

// jsoncpp marks its Reader and FastWriter as deprecated. Their dialect (trailing text is ignored, comments
// are allowed, one line feed at the end) is what hosts know, and the classes meant to replace them differ in
// it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

void JsonObject::parse(const char* begin, const char* end, bool keep_comments) {
  bool parsed = false;
  try {
    Json::Reader reader;
    parsed = reader.parse(begin, end, own, keep_comments);
  } catch (const Json::Exception&) {  // nested too deeply
  }
  if (!parsed) {
    throw AERROR{JSON_PARSE_FAILED};
  }
}

std::string JsonObject::ToText() const {
  Json::FastWriter writer;
  return writer.write(*current);
}

#pragma GCC diagnostic pop

JsonObject::JsonObject(const char* text, unsigned int length) : current{&own} {
  if (text == nullptr) {
    throw AERROR{JSON_PARSE_FAILED};
  }
  parse(text, text + length, false);
}

JsonObject::JsonObject(const char* text) : current{&own} {
  if (text != nullptr) {
    parse(text, text + std::strlen(text), true);
  }
}

JsonObject::JsonObject(Json::Value& value) noexcept : current{&value} {}

JsonObject::JsonObject(const JsonObject& other) : current{other.current} {
  if (!other.own.isNull()) {
    own = other.own;
    current = &own;
  }
}

JsonObject::~JsonObject() = default;

JsonObject& JsonObject::operator=(const JsonObject& other) {
  if (&other == this) {
    return *this;
  }
  if (other.own.isNull()) {
    *current = Json::Value{*other.current};
  } else {
    own = Json::Value{other.own};
    current = &own;
  }
  return *this;
}

JsonObject& JsonObject::operator=(const std::string& text) {
  *current = Json::Value{text};
  return *this;
}

JsonObject::operator std::string() const { return current->asString(); }
JsonObject::operator std::wstring() const { return utf8_converter{}.from_bytes(current->asString()); }
JsonObject::operator unsigned long() const { return current->asUInt64(); }
JsonObject::operator unsigned long long() const { return current->asUInt64(); }
JsonObject::operator long() const { return current->asInt64(); }
JsonObject::operator long long() const { return current->asInt64(); }
JsonObject::operator int() const { return static_cast<int>(current->asInt64()); }
JsonObject::operator AERROR() const {
  return static_cast<AERROR>(static_cast<std::int32_t>(current->asInt64()));
}
JsonObject::operator double() const { return current->asDouble(); }
JsonObject::operator bool() const { return current->asBool(); }

Json::Value* JsonObject::find(const char* path) const {
  Json::Value* value = current;
  for (std::string_view rest{path}; !rest.empty();) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    const std::string name{rest.substr(0, end)};
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (name.empty()) {
      continue;
    }
    if (!value->isObject() || !value->isMember(name)) {
      return nullptr;
    }
    value = &(*value)[name];
  }
  return value;
}

JsonObject JsonObject::GetObject(const char* path) const {
  Json::Value* const value = find(path);
  if (value == nullptr) {
    throw AERROR{ACCESS_VIOLATION};
  }
  return JsonObject{*value};
}

bool JsonObject::HasObject(const char* path) const { return find(path) != nullptr; }

JsonObject JsonObject::operator[](int index) const { return JsonObject{(*current)[index]}; }

JsonObject JsonObject::operator[](const char* name) const { return JsonObject{(*current)[name]}; }

unsigned int JsonObject::GetArraySize() const { return current->size(); }

bool JsonObject::Insert(const char* name, const JsonObject& value) {
  Json::Value copy{*value.current};  // first, since the value may be this one
  (*current)[name] = std::move(copy);
  return true;
}

bool JsonObject::Insert(const char* name, const std::wstring& value) {
  (*current)[name] = Json::Value{utf8_converter{}.to_bytes(value)};
  return true;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): jsoncpp takes no text over
bool JsonObject::InsertArrayItem(std::string value) {
  current->append(Json::Value{value});
  return true;
}

bool JsonObject::InsertArrayItem(JsonObject& value) {
  current->append(Json::Value{*value.current});
  return true;
}

bool JsonObject::RemoveArrayItem(unsigned long index) {
  Json::Value removed;
  return current->removeIndex(static_cast<Json::ArrayIndex>(index), &removed);
}

bool JsonObject::Remove(const char* name) {
  Json::Value removed;
  return current->removeMember(name, &removed);
}

std::vector<std::string> JsonObject::GetKeys() const { return current->getMemberNames(); }

JsonObject JsonObject::Copy() const { return JsonObject{*current}; }

bool JsonObject::IsValid() const noexcept { return !current->isNull(); }

bool JsonObject::IsArray() const noexcept { return current->isArray(); }

JsonObject JsonObject::GetEmptyObject() { return JsonObject{"{}"}; }

}  // namespace ftp_plugin
