#include "host/remote/module.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include <climits>
#include <memory>
#include <type_traits>
#include <vector>

#include "host/failure.h"

namespace ftp_host {
namespace {

using DocumentFunction = AERROR (*)(char*, int*);

std::string read_document(DocumentFunction read, const char* what) {
  int size = 0;
  (void)read(nullptr, &size);  // too little room: `size` becomes what it needs
  // The plug-in may use one byte more than the stated size for the closing zero.
  std::vector<char> buffer(static_cast<std::size_t>(size) + 1);
  const AERROR code = read(buffer.data(), &size);
  if (code != SUCCESS)
    throw Failure{ExitCode::other, fmt::format("the plug-in gives no {}: code {}", what, int{code})};
  return std::string{buffer.data(), static_cast<std::size_t>(size)};
}

}  // namespace

Module::Module(const std::string& file) : library_{dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)} {
  if (!library_) throw Failure{ExitCode::local_file, fmt::format("cannot load the plug-in: {}", dlerror())};
  const auto find = [&](auto& function, const char* name) {
    void* const address = dlsym(library_.get(), name);
    if (address == nullptr)
      throw Failure{ExitCode::local_file, fmt::format("{} is not the plug-in: it has no {}", file, name)};
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(address);
  };
  find(GetSupports, "GetSupports");
  find(GetSupportProtocol, "GetSupportProtocol");
  find(GetProtocol, "GetProtocol");
  find(FreeP, "FreeP");
  find(GetProtocolVersion, "GetProtocolVersion");
  find(GetAuthType, "GetAuthType");
  find(GetAuthFields, "GetAuthFields");
  find(GetOptFields, "GetOptFields");
  find(BindLogger, "BindLogger");
  find(UnbindLogger, "UnbindLogger");
  find(BindAsyncQ, "BindAsyncQ");
  find(UnbindAsyncQ, "UnbindAsyncQ");
  find(GetAERRORA, "GetAERRORA");
  find(ConvertAERROR, "ConvertAERROR");
}

std::string login_document(const Module& module) {
  return read_document(module.GetAuthFields, "login fields");
}

std::string option_document(const Module& module) {
  return read_document(module.GetOptFields, "option fields");
}

std::string protocol_list(const Module& module) {
  char* text = nullptr;
  module.GetSupportProtocol(&text);
  const std::unique_ptr<char, decltype(module.FreeP)> owned{text, module.FreeP};
  return text == nullptr ? "" : text;
}

std::string code_text(const Module& module, AERROR code) {
  return fmt::format("{} ({})", module.GetAERRORA(code), int{code});
}

std::string default_plugin_file() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return "./ftp.so";
  std::string file{path, static_cast<std::size_t>(length)};
  file.erase(file.rfind('/') + 1);
  return file + "ftp.so";
}

}  // namespace ftp_host
