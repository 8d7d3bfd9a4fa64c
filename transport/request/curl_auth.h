// Signs requests to web services: turns an authorization answer into request arguments and headers and puts
// them onto any request object before it is performed. The token comes from the host and is kept nowhere
// else. No operation signs a request: the signer belongs to the library by contract.
//
// SetAuth and SignAuthentication may run on several threads at once: a request never sees half of a change.
// The other operations are for the time before the signer is shared.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "common/json_object.h"
#include "common/pinned.h"
#include "transport/request/curl_impl.h"

namespace ftp_plugin {

class CURLAuth : pinned {
 public:
  /// A signer that holds what `answer` grants. Throws as SetAuth does.
  explicit CURLAuth(JsonObject& answer);
  virtual ~CURLAuth();

  // The order of these operations is fixed: destructor, then the three ways to sign.

  /// Adds every argument to the query and every header to the headers of the request; what it had under the
  /// same name is replaced. The last two do nothing with null.
  virtual void SignAuthentication(CURLImpl& request);
  virtual void SignAuthentication(std::shared_ptr<CURLImpl> request);
  virtual void SignAuthentication(CURLImpl* request);

  /// Takes the bearer token "/results/access_token" of `answer`; a new one replaces the old one, and without
  /// one nothing changes. Throws Json::Exception, and changes nothing, when "/results" is neither an object
  /// nor null or the token has no text form.
  void SetAuth(JsonObject& answer);

  /// Stores a header or an argument, replacing the one of the same name.
  void AddHeader(const char* name, const char* value);
  void AddArg(const char* name, const char* value);
  void ClearHeaders();
  void ClearArgs();

 private:
  std::mutex lock;  // guards both maps in SetAuth and while signing
  std::unordered_map<std::string, std::string> args;
  std::unordered_map<std::string, std::string> headers;
};

}  // namespace ftp_plugin
