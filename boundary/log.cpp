#include "boundary/log.h"

#include <cstdarg>
#include <exception>

#include "boundary/error_codes.h"

namespace ftp_plugin {
namespace {

void log_exception_text(const char* operation, const char* what) noexcept {
  __LOG__A(current_logger(), LOGLEVEL_ERROR, "[PROTOCOL  ] %s exception: [%s]", operation,
           text_or_empty(what));
}

}  // namespace

void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...) noexcept {
  if (log == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  try {
    log->Write(level, format, arguments);
  } catch (...) {
    // The one exception that leaves no line: the log itself is what failed. What the line tells of goes on.
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

void log_exception(const char* operation) noexcept {
  try {
    throw;  // the exception that the caller is handling
  } catch (const std::exception& exception) {
    log_exception_text(operation, exception.what());
  } catch (AERROR code) {
    log_exception_text(operation, error_name(code));
  } catch (...) {
    log_exception_text(operation, "unknown");
  }
}

}  // namespace ftp_plugin
