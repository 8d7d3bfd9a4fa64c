// The plug-in's library: loaded once, with its 14 exported functions.
#pragma once

#include <string>

#include "boundary/abi/exports.h"
#include "host/owner.h"

namespace ftp_host {

/// Owns the loaded library. The constructor sets every member, or throws a Failure that names what is
/// missing.
class Module {
 public:
  /// Loads `file`; a name without "/" is looked for where dlopen looks.
  explicit Module(const std::string& file);
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  decltype(&::GetSupports) GetSupports = nullptr;
  decltype(&::GetSupportProtocol) GetSupportProtocol = nullptr;
  decltype(&::GetProtocol) GetProtocol = nullptr;
  decltype(&::FreeP) FreeP = nullptr;
  decltype(&::GetProtocolVersion) GetProtocolVersion = nullptr;
  decltype(&::GetAuthType) GetAuthType = nullptr;
  decltype(&::GetAuthFields) GetAuthFields = nullptr;
  decltype(&::GetOptFields) GetOptFields = nullptr;
  decltype(&::BindLogger) BindLogger = nullptr;
  decltype(&::UnbindLogger) UnbindLogger = nullptr;
  decltype(&::BindAsyncQ) BindAsyncQ = nullptr;
  decltype(&::UnbindAsyncQ) UnbindAsyncQ = nullptr;
  decltype(&::GetAERRORA) GetAERRORA = nullptr;
  decltype(&::ConvertAERROR) ConvertAERROR = nullptr;

 private:
  Library library_;
};

/// The login document, or the option document, as the plug-in hands it out.
[[nodiscard]] std::string login_document(const Module& module);
[[nodiscard]] std::string option_document(const Module& module);
/// "ftp;ftps;ad_ftp".
[[nodiscard]] std::string protocol_list(const Module& module);
/// The code as messages name it: "ACCESS_DENIED (22)".
[[nodiscard]] std::string code_text(const Module& module, AERROR code);

/// "ftp.so" beside the running program.
[[nodiscard]] std::string default_plugin_file();

}  // namespace ftp_host
