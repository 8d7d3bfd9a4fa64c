// The two JSON documents from which the host draws its settings dialog: what it asks for a login, and which
// options there are. Free functions without state, safe from any thread.
//
// A document is an array of groups with a title and "data", an array of fields; each field is an object whose
// only member is the field's key. The host sends the same shape back, see protocol/form_values.h.
#pragma once

#include <string>

#include "boundary/abi/error_codes.h"
#include "common/json_object.h"

namespace ftp_plugin {

namespace ProtocolUtil {

/// One element of a group's "data". `default_text` may be null: then the field has no default.
/// `kind` is "string", "boolean", "password", or "string:" and the choices with "/" between them.
[[nodiscard]] JsonObject createItem(const char* key, const char* kind, const char* label,
                                    const char* default_text, bool read_only, bool optional);

/// 1 to 4 for "SOCKS4", "SOCKS5", "HTTP with TUNNEL" and "HTTP without TUNNEL"; 0 for every other name.
[[nodiscard]] int curlProxyType(const std::string& name) noexcept;

}  // namespace ProtocolUtil

/// The documents as compact JSON text, one line, closed by a line feed.
[[nodiscard]] std::string auth_fields_text();
[[nodiscard]] std::string opt_fields_text();

/// Writes `text` and a terminating zero into `buffer`, whose size in bytes the caller states in `*size`.
/// Returns    SUCCESS and the text's length in `*size`; or INSUFFICIENT_BUFFER and length + 1 in `*size`, and
///            then `buffer` is not touched and may be null. `size` may not be null.
/// The caller's buffer must have one byte more than stated: see the comment at the definition.
[[nodiscard]] AERROR write_text(const std::string& text, char* buffer, int* size) noexcept;

/// write_text of the login document and of the option document.
/// Errors     std::bad_alloc.
[[nodiscard]] AERROR write_auth_fields(char* buffer, int* size);
[[nodiscard]] AERROR write_opt_fields(char* buffer, int* size);

}  // namespace ftp_plugin
