#include "tests/fakes/plugin.h"

#include <dlfcn.h>
#include <json/json.h>

#include <cstdio>
#include <cstdlib>

namespace fakes {
namespace {

[[noreturn]] void give_up(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::abort();
}

template <class Function>
void find(void* library, const char* name, Function& function) {
  void* address = ::dlsym(library, name);
  if (address == nullptr) give_up(std::string{"no exported function "} + name);
  function = reinterpret_cast<Function>(address);
}

Plugin load() {
  // Never closed: the leak checker names functions when the process ends.
  void* library = ::dlopen(plugin_file().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) give_up(::dlerror());
  Plugin found{};
  find(library, "GetSupports", found.GetSupports);
  find(library, "GetSupportProtocol", found.GetSupportProtocol);
  find(library, "GetProtocol", found.GetProtocol);
  find(library, "FreeP", found.FreeP);
  find(library, "GetProtocolVersion", found.GetProtocolVersion);
  find(library, "GetAuthType", found.GetAuthType);
  find(library, "GetAuthFields", found.GetAuthFields);
  find(library, "GetOptFields", found.GetOptFields);
  find(library, "BindLogger", found.BindLogger);
  find(library, "UnbindLogger", found.UnbindLogger);
  find(library, "BindAsyncQ", found.BindAsyncQ);
  find(library, "UnbindAsyncQ", found.UnbindAsyncQ);
  find(library, "GetAERRORA", found.GetAERRORA);
  find(library, "ConvertAERROR", found.ConvertAERROR);
  return found;
}

/// What the plug-in describes itself.
Json::Value form(AERROR (*describe)(char*, int*)) {
  int size = 0;
  if (describe(nullptr, &size) != INSUFFICIENT_BUFFER) give_up("the plug-in does not tell the size");
  std::string text(static_cast<std::size_t>(size), '\0');
  if (describe(text.data(), &size) != SUCCESS) give_up("the plug-in does not describe its fields");
  Json::Value document;
  if (!Json::Reader{}.parse(text.c_str(), document)) give_up("not JSON: " + text);
  return document;
}

std::string fill(Json::Value document, const FormEntries& entries) {
  for (Json::Value& group : document) {
    for (Json::Value& element : group["data"]) {
      const std::string key = element.getMemberNames().front();
      Json::Value& value = element[key]["value"];
      const std::string kind = value.asString();
      const bool is_boolean = kind == "boolean";
      const std::size_t colon = kind.find(':');
      value = is_boolean                   ? Json::Value{false}
              : colon == std::string::npos ? Json::Value{""}
                                           : Json::Value{kind.substr(colon + 1, kind.find('/') - colon - 1)};
      for (const auto& [name, entry] : entries) {
        if (name == key) value = is_boolean ? Json::Value{entry == "true"} : Json::Value{entry};
      }
    }
  }
  return Json::FastWriter{}.write(document);
}

}  // namespace

std::string plugin_file() {
  const char* chosen = std::getenv("FTP_PLUGIN_FILE");
  return chosen != nullptr ? chosen : FTP_PLUGIN_FILE;
}

const Plugin& plugin() {
  static const Plugin loaded = load();
  return loaded;
}

ScopedProtocol::ScopedProtocol(const char* name, IProtocolManager* manager) {
  void* out = nullptr;
  if (!plugin().GetProtocol(name, manager, &out)) give_up("GetProtocol refuses");
  protocol_ = static_cast<IProtocol_V2*>(out);
}

void ScopedProtocol::release() {
  if (IProtocol_V2* protocol = std::exchange(protocol_, nullptr)) protocol->Release();
}

std::string login_document(const std::string& url, const std::string& user, const std::string& password,
                           const FormEntries& more) {
  FormEntries entries = {
      {"url", url}, {"anonymous", user.empty() ? "true" : "false"}, {"user", user}, {"password", password}};
  entries.insert(entries.end(), more.begin(), more.end());
  return fill(form(plugin().GetAuthFields), entries);
}

std::string option_document(const FormEntries& entries) { return fill(form(plugin().GetOptFields), entries); }

}  // namespace fakes
