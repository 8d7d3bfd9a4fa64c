// The plug-in's log: written to the trace file and to standard error, and read for what explains a failure.
#pragma once

#include <memory>
#include <string>

#include "boundary/abi/host_interfaces.h"

namespace spdlog {
class logger;
}

namespace ftp_host {

/// The logger that the plug-in is given. Safe from any thread.
class PluginLog final : public ILog {
 public:
  /// `trace_file`: gets every line, without passwords; empty for none. `to_stderr`: standard error gets them
  /// as well. Throws a Failure when the file cannot be written.
  PluginLog(const std::string& trace_file, bool to_stderr);
  ~PluginLog();
  PluginLog(const PluginLog&) = delete;
  PluginLog& operator=(const PluginLog&) = delete;

  void Reserved() override {}
  int IsTracing() override { return logger_ ? 1 : 0; }
  void Write(LOGLEVEL level, const char* format, va_list arguments) override;
  void flush();

 private:
  std::shared_ptr<spdlog::logger> logger_;
};

}  // namespace ftp_host
