// The 14 functions that the library exports, with plain names.
//
// 1. Memory: what GetSupportProtocol allocates, the host frees with FreeP. Constant texts are not freed.
// 2. Threads: every function may be called from any thread. A logger must not be unbound or destroyed while
//    an operation is running.
// 3. Exceptions: none leaves the library.
#pragma once

#include "error_codes.h"
#include "host_interfaces.h"
#include "protocol_interfaces.h"

#if defined(__GNUC__)
#pragma GCC visibility push(default)  // the rest of the library is built with hidden names
#endif

extern "C" {

/// 3, always.
int GetSupports();
/// Stores a copy of "ftp;ftps;ad_ftp" in `*out` (null when memory is short) and returns `out`.
char** GetSupportProtocol(char** out);
/// Creates the object for one server; `*out` is then an IProtocol_V2*, ended with Release. `name` must not
/// be null, `manager` may be. False: nothing was created and `*out` is untouched.
[[nodiscard]] bool GetProtocol(const char* name, IProtocolManager* manager, void** out);
/// Frees a text of GetSupportProtocol; null is ignored.
void FreeP(void* p);
/// "1.0.0", a constant text.
const char* GetProtocolVersion();
/// The kind of authentication: 4, always.
int GetAuthType();
/// Writes the login fields as JSON text. `*size` is the capacity and becomes the length; with too little
/// room INSUFFICIENT_BUFFER and `*size` becomes the length plus one. Give one byte more than you state.
AERROR GetAuthFields(char* buffer, int* size);
/// The same for the option fields.
AERROR GetOptFields(char* buffer, int* size);
/// Binds the logger of the process; null is refused.
[[nodiscard]] bool BindLogger(ILog* log);
void UnbindLogger();
/// Keeps the host's queue, which is never used; null is refused.
[[nodiscard]] bool BindAsyncQ(void* queue);
void UnbindAsyncQ();
/// Name of a code as a constant text, "Unknown" where there is none.
const char* GetAERRORA(AERROR code);
/// Negated POSIX error number: 0, -ENOENT for FILE_NOT_FOUND, -EIO for everything else.
int ConvertAERROR(AERROR code);

}  // extern "C"

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
