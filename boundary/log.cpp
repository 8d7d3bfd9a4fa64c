#include "boundary/log.h"

#include <cstdarg>

namespace ftp_plugin {

void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...) noexcept {
  if (log == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  try {
    log->Write(level, format, arguments);
  } catch (...) {
    // A line that the host cannot write is lost; what it tells of goes on. We may be within a libcurl
    // callback.
  }
  va_end(arguments);
}

void log_operation(const char* operation, const char* path) noexcept {
  __LOG__A(current_logger(), LOGLEVEL_INFO, "[PROTOCOL  ] %s id: [%s]", operation, text_or_empty(path));
}

void log_exec_error(const char* operation, const char* path, int code) noexcept {
  __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s id: [%s] , exec error: [%d]", operation,
           text_or_empty(path), code);
}

}  // namespace ftp_plugin
