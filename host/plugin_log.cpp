#include "host/plugin_log.h"

#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "host/failure.h"
#include "host/names.h"
#include "host/redact.h"

namespace ftp_host {
namespace {

constexpr char kNetwork[] = "[NETWORK";
constexpr std::string_view kReply = "[NETWORK   ] [HEADER   >>] ";
constexpr std::string_view kExecError = "exec error: [";
constexpr std::string_view kInformation = "[NETWORK   ] [INFORMATION] ";

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

void trim_end(std::string& line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == ' ')) line.pop_back();
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

/// The transport's talk about connections and steps explains no failure.
bool explains(const std::string& text) {
  constexpr const char* kTalk[] = {"Closing connection",
                                   "Connection #",
                                   "Hostname",
                                   "Found bundle",
                                   "Remembering we",
                                   "ftp_perform",
                                   "Request has same",
                                   "Re-using existing",
                                   "Entry path",
                                   "Maxdownload",
                                   "Getting file",
                                   "Connect data stream",
                                   "Connecting to",
                                   "Connected to",
                                   "  Trying",
                                   "We are completely",
                                   "Uploaded",
                                   "Using ",
                                   "Shutting down",
                                   "TLSv",
                                   "SSH ",
                                   "Initialized ",
                                   "Authentication c"};
  return !text.empty() && std::none_of(std::begin(kTalk), std::end(kTalk),
                                       [&](const char* talk) { return text.starts_with(talk); });
}

}  // namespace

std::string OperationLog::explanation() const {
  // A refusal by the server says more than what the transport made of it.
  if (!last_refusal.empty()) return last_refusal;
  if (!last_information.empty() || last_code == 0) return last_information;
  // Nothing was sent: a line break in the name or, on SFTP, a double quote or a backslash.
  if (last_code == 3 || last_code == 21) return "the name cannot be sent";
  if (last_code == 9) return "access denied";
  if (last_code == 78) return "no such file or directory";
  return "the transport's code " + std::to_string(last_code);
}

void note_log_line(OperationLog& log, std::string_view line) {
  if (line.starts_with(kReply)) {
    log.server_spoke = true;
    std::string text = redact(line.substr(kReply.size()));
    trim_end(text);
    // vsftpd's words for a directory that may be entered but not read: what it lists then is empty.
    const bool unread = text.starts_with("226") && text.find("failed to open directory") != std::string::npos;
    log.listing_failed = log.listing_failed || unread;
    if (unread || text.starts_with('4') || text.starts_with('5')) log.last_refusal = std::move(text);
  } else if (line.starts_with(kInformation)) {
    std::string text = redact(line.substr(kInformation.size()));
    trim_end(text);
    if (text.starts_with("Connected to ")) log.server_spoke = true;
    if (explains(text)) log.last_information = std::move(text);
  } else if (const std::size_t at = line.rfind(kExecError); at != std::string_view::npos) {
    const std::string_view code = line.substr(at + kExecError.size());
    (void)std::from_chars(code.data(), code.data() + code.size(), log.last_code);
  }
}

OperationLog& current_operation_log() {
  thread_local OperationLog log;
  return log;
}

PluginLog::PluginLog(const std::string& trace_file, bool to_stderr) {
  std::vector<spdlog::sink_ptr> sinks;
  if (!trace_file.empty()) {
    // A trace tells much about the server even without passwords: only its owner reads it.
    const int file = open(trace_file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) throw local_failure(trace_file, errno);
    close(file);
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
    const bool network = std::strncmp(format, kNetwork, sizeof kNetwork - 1) == 0;
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
