// The plug-in's log: its trace file, its lines on standard error, and what it says of the operation under
// way.
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
  /// `trace_file`: every line goes there, secrets taken out; empty for none. `to_stderr`: to standard error
  /// too.
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
