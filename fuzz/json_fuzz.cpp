// JSON documents from the host: the wrapper throws nothing but its codes and jsoncpp's exceptions, and the
// walk through a filled-in document throws nothing at all.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/json_object.h"
#include "fuzz/require.h"
#include "protocol/form_values.h"

using ftp_plugin::JsonObject;

namespace {

template <class Action>
bool works(Action&& action) {
  try {
    action();
    return true;
  } catch (AERROR code) {
    REQUIRE(code == JSON_PARSE_FAILED || code == ACCESS_VIOLATION);
  } catch (const Json::Exception&) {
  }
  return false;
}

void use(JsonObject& object) {
  REQUIRE(works([&] { (void)object.ToText(); }));
  for (const char* path : {"", "a", "/data//value/", "0/data"}) {
    REQUIRE(object.HasObject(path) == works([&] { (void)object.GetObject(path); }));
  }
  works([&] { (void)static_cast<std::string>(object); });
  works([&] { (void)static_cast<long long>(object); });
  works([&] { (void)static_cast<unsigned long long>(object); });
  works([&] { (void)static_cast<double>(object); });
  works([&] { (void)static_cast<bool>(object); });
  works([&] {
    for (const std::string& key : object.GetKeys()) {
      REQUIRE(object.Copy()[key.c_str()].GetArraySize() < (1U << 30));
    }
  });
  works([&] { (void)object[0]; });
  works([&] { (void)object["member"]; });
  works([&] { object.Insert("again", object); });
  works([&] { object.InsertArrayItem(object); });
  works([&] { object.Remove("a"); });
  works([&] { object.RemoveArrayItem(0); });
  REQUIRE(works([&] { (void)JsonObject{object}.ToText(); }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  works([&] {
    JsonObject object(text.data(), static_cast<unsigned int>(text.size()));
    use(object);
  });
  works([&] {
    JsonObject object{text.c_str()};
    use(object);
  });

  // The conversions of a login: what they cannot convert ends the walk.
  ftp_plugin::for_each_form_value("SetOpt", text.c_str(), [](const std::string& key, JsonObject& value) {
    if (key.size() % 2 == 0) {
      (void)static_cast<bool>(value);
    } else {
      (void)static_cast<std::string>(value);
    }
  });
  return 0;
}
