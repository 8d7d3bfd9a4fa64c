// A host's logger that remembers its lines; bound while it lives.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "boundary/host_bindings.h"

namespace ftp_plugin::testing_tools {

struct log_line {
  LOGLEVEL level;
  std::string text;
  bool operator==(const log_line&) const = default;
};

class recording_log : public ILog {
 public:
  explicit recording_log(int tracing = 0) : tracing_{tracing} { (void)bind_logger(this); }
  recording_log(const recording_log&) = delete;
  recording_log& operator=(const recording_log&) = delete;
  ~recording_log() { unbind_logger(); }

  void Reserved() override {}
  int IsTracing() override { return tracing_; }
  void Write(LOGLEVEL level, const char* format, va_list arguments) override {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)) + 1, '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    const std::lock_guard<std::mutex> lock{mutex_};
    lines_.push_back({level, std::move(text)});
  }

  std::vector<log_line> lines() const {
    const std::lock_guard<std::mutex> lock{mutex_};
    return lines_;
  }
  /// The lines that begin with `category`.
  std::vector<log_line> lines(const std::string& category) const {
    std::vector<log_line> found = lines();
    std::erase_if(found, [&](const log_line& line) { return !line.text.starts_with(category); });
    return found;
  }

 private:
  int tracing_;
  mutable std::mutex mutex_;
  std::vector<log_line> lines_;
};

}  // namespace ftp_plugin::testing_tools
