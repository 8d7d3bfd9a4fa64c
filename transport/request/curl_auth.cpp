#include "transport/request/curl_auth.h"

#include <algorithm>
#include <vector>

#include "boundary/log.h"

namespace ftp_plugin {

CURLAuth::CURLAuth(JsonObject& answer) { SetAuth(answer); }

CURLAuth::~CURLAuth() = default;

void CURLAuth::SignAuthentication(CURLImpl& request) { SignAuthentication(&request); }

void CURLAuth::SignAuthentication(std::shared_ptr<CURLImpl> request) { SignAuthentication(request.get()); }

void CURLAuth::SignAuthentication(CURLImpl* request) {
  if (request == nullptr) return;
  const std::lock_guard<std::mutex> held{lock};
  for (const auto& [name, value] : args) request->AddQuery(name.c_str(), value);
  for (const auto& [name, value] : headers) request->AddHeader(name.c_str(), value);
}

void CURLAuth::SetAuth(JsonObject& answer) {
  const std::lock_guard<std::mutex> held{lock};
  if (!answer.HasObject("/results")) return;
  const JsonObject results = answer.GetObject("/results");
  const std::vector<std::string> names = results.GetKeys();
  if (std::ranges::find(names, "access_token") == names.end()) return;
  headers["Authorization"] = "Bearer " + static_cast<std::string>(results["access_token"]);
}

void CURLAuth::AddHeader(const char* name, const char* value) { headers[name] = text_or_empty(value); }

void CURLAuth::AddArg(const char* name, const char* value) { args[name] = text_or_empty(value); }

void CURLAuth::ClearHeaders() { headers.clear(); }

void CURLAuth::ClearArgs() { args.clear(); }

}  // namespace ftp_plugin
