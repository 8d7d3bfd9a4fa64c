#include "host/cli/trace.h"

#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "host/failure.h"
#include "host/names.h"
#include "host/owner.h"
#include "host/redact.h"
#include "host/remote/operation_log.h"
#include "host/text.h"

namespace ftp_host {
namespace {

std::string format_line(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  char first[512];
  const int length = std::vsnprintf(first, sizeof first, format, arguments);
  std::string line;
  if (length >= static_cast<int>(sizeof first)) {
    line.resize(static_cast<std::size_t>(length));
    std::vsnprintf(line.data(), line.size() + 1, format, again);
  } else if (length > 0) {
    line.assign(first, static_cast<std::size_t>(length));
  }
  va_end(again);
  return line;
}

spdlog::level::level_enum spdlog_level(LOGLEVEL level) {
  switch (level) {
    case LOGLEVEL_ERROR:
      return spdlog::level::err;
    case LOGLEVEL_DEBUG:
      return spdlog::level::debug;
    default:
      return spdlog::level::info;
  }
}

}  // namespace

PluginLog::PluginLog(const std::string& trace_file, bool to_stderr) {
  std::vector<spdlog::sink_ptr> sinks;
  if (!trace_file.empty()) {
    // A trace tells much about the server even without passwords: only its owner reads it.
    const Descriptor file{open(trace_file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
    if (!file) throw local_failure(trace_file, errno);
    sinks.push_back(std::make_shared<spdlog::sinks::basic_file_sink_mt>(trace_file, true));
  }
  if (to_stderr) sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
  if (sinks.empty()) return;
  logger_ = std::make_shared<spdlog::logger>("plugin", sinks.begin(), sinks.end());
  logger_->set_level(spdlog::level::trace);
  logger_->set_pattern("%Y-%m-%d %H:%M:%S.%e %t %l %v");
  logger_->flush_on(spdlog::level::err);
}

PluginLog::~PluginLog() { flush(); }

void PluginLog::flush() {
  if (logger_) logger_->flush();
}

void PluginLog::Write(LOGLEVEL level, const char* format, va_list arguments) {
  try {
    const bool network = is_network_line(format);
    const bool noted = network || level == LOGLEVEL_ERROR;
    if (!noted && !logger_) return;  // a whole listing is in some lines: not worth formatting
    std::string line = format_line(format, arguments);
    if (noted) note_log_line(current_operation_log(), line);
    if (!logger_) return;
    trim_end(line);
    // One log line stays one line, whatever a server sends.
    logger_->log(spdlog_level(level), "{}", escape_for_terminal(redact(line)));
  } catch (...) {
    // The plug-in does not expect an exception, and a lost log line is no reason to fail.
  }
}

}  // namespace ftp_host
