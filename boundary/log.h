// The one way into the host's log. Formatting, truncation and line endings are the logger's business.
#pragma once

#include "boundary/abi/host_interfaces.h"
#include "boundary/host_bindings.h"

namespace ftp_plugin {

/// Hands level, format and arguments to `log`; does nothing when it is null. Pass current_logger().
[[gnu::format(printf, 3, 4)]] void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...) noexcept;

/// A text for "%s": the text itself, or "" for null.
[[nodiscard]] inline const char* text_or_empty(const char* text) noexcept {
  return text == nullptr ? "" : text;
}

/// "[PROTOCOL  ] %s id: [%s]": the line with which most operations begin. `path` may be null.
void log_operation(const char* operation, const char* path) noexcept;

/// "[PROTOCOL  ] %s id: [%s] , exec error: [%d]": a failed command. `path` may be null.
void log_exec_error(const char* operation, const char* path, int code) noexcept;

/// "[PROTOCOL  ] %s exception: [%s]": what was caught and goes no further. To be called while an exception is
/// being handled. The second text is the exception's what(), or the name of a thrown AERROR. Needs no memory.
void log_exception(const char* operation) noexcept;

}  // namespace ftp_plugin
