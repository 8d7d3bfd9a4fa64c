#include "boundary/abi/exports.h"

#include <cstdlib>
#include <cstring>

#include "boundary/error_codes.h"
#include "boundary/host_bindings.h"
#include "boundary/no_throw.h"
#include "protocol/protocol.h"

using ftp_plugin::no_throw;
using ftp_plugin::Protocol;

int GetSupports() { return 3; }

char** GetSupportProtocol(char** out) {
  *out = strdup(ftp_plugin::kProtocolList);
  return out;
}

bool GetProtocol(const char* name, IProtocolManager* manager, void** out) {
  return no_throw("GetProtocol", false, [&] {
    *out = static_cast<IProtocol_V2*>(new Protocol{name, manager});
    return true;
  });
}

void FreeP(void* p) { std::free(p); }

const char* GetProtocolVersion() { return ftp_plugin::protocol_version; }

int GetAuthType() { return Protocol::GetAuthType(); }

AERROR GetAuthFields(char* buffer, int* size) {
  return no_throw("GetAuthFields", FAILED, [&] { return Protocol::GetAuthFields(buffer, size); });
}

AERROR GetOptFields(char* buffer, int* size) {
  return no_throw("GetOptFields", FAILED, [&] { return Protocol::GetOptFields(buffer, size); });
}

bool BindLogger(ILog* log) { return ftp_plugin::bind_logger(log); }

void UnbindLogger() { ftp_plugin::unbind_logger(); }

bool BindAsyncQ(void* queue) { return ftp_plugin::bind_async_queue(queue); }

void UnbindAsyncQ() { ftp_plugin::unbind_async_queue(); }

const char* GetAERRORA(AERROR code) { return ftp_plugin::error_name(code); }

int ConvertAERROR(AERROR code) { return ftp_plugin::error_to_posix(code); }
