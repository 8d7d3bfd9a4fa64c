// Runs a test in a time zone of its choice.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace fakes {

/// Sets the process's time zone for its lifetime.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* name) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    setenv("TZ", name, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (before_) {
      setenv("TZ", before_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  std::optional<std::string> before_;
};

}  // namespace fakes
