// The built library, loaded as a host loads it: by file name, through its 14 exported functions.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "boundary/abi/exports.h"

namespace fakes {

/// The file that is tested: the environment variable FTP_PLUGIN_FILE, else the one of this build.
[[nodiscard]] std::string plugin_file();

/// The exported functions, under their own names.
struct Plugin {
  decltype(&::GetSupports) GetSupports;
  decltype(&::GetSupportProtocol) GetSupportProtocol;
  decltype(&::GetProtocol) GetProtocol;
  decltype(&::FreeP) FreeP;
  decltype(&::GetProtocolVersion) GetProtocolVersion;
  decltype(&::GetAuthType) GetAuthType;
  decltype(&::GetAuthFields) GetAuthFields;
  decltype(&::GetOptFields) GetOptFields;
  decltype(&::BindLogger) BindLogger;
  decltype(&::UnbindLogger) UnbindLogger;
  decltype(&::BindAsyncQ) BindAsyncQ;
  decltype(&::UnbindAsyncQ) UnbindAsyncQ;
  decltype(&::GetAERRORA) GetAERRORA;
  decltype(&::ConvertAERROR) ConvertAERROR;
};

/// Loaded at the first call and kept until the process ends. Ends the process, with the reason on standard
/// error, when the library cannot be loaded or lacks a function.
[[nodiscard]] const Plugin& plugin();

/// The object for one server, released with the scope.
class ScopedProtocol {
 public:
  explicit ScopedProtocol(const char* name = "ftp", IProtocolManager* manager = nullptr);
  ScopedProtocol(const ScopedProtocol&) = delete;
  ScopedProtocol& operator=(const ScopedProtocol&) = delete;
  ~ScopedProtocol() { release(); }

  [[nodiscard]] IProtocol_V2* get() const { return protocol_; }
  IProtocol_V2* operator->() const { return protocol_; }
  void release();

 private:
  IProtocol_V2* protocol_ = nullptr;
};

/// Binds a logger for the length of a scope.
class ScopedLogger {
 public:
  explicit ScopedLogger(ILog& log) { plugin().BindLogger(&log); }
  ScopedLogger(const ScopedLogger&) = delete;
  ScopedLogger& operator=(const ScopedLogger&) = delete;
  ~ScopedLogger() { plugin().UnbindLogger(); }
};

/// Keys and entries of a form; the entry of a boolean field is "true" or "false".
using FormEntries = std::vector<std::pair<std::string, std::string>>;

/// The plug-in's own login document as a user fills it in. Without a user the login is anonymous. Fields
/// that are not named stay empty or false; a further entry wins over what the other arguments say.
[[nodiscard]] std::string login_document(const std::string& url, const std::string& user = "",
                                         const std::string& password = "", const FormEntries& more = {});

/// The plug-in's own option document. Fields that are not named get the first choice, false or the empty
/// text.
[[nodiscard]] std::string option_document(const FormEntries& entries);

}  // namespace fakes
