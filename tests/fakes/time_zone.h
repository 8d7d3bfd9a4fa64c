// Runs a test in a time zone of its choice.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace ftp_plugin {

/// Sets the process's time zone for its lifetime.
class time_zone {
 public:
  explicit time_zone(const char* name) {
    if (const char* before = std::getenv("TZ"); before != nullptr) {
      before_ = before;
    }
    setenv("TZ", name, 1);
    tzset();
  }
  ~time_zone() {
    if (before_) {
      setenv("TZ", before_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  time_zone(const time_zone&) = delete;
  time_zone& operator=(const time_zone&) = delete;

 private:
  std::optional<std::string> before_;
};

}  // namespace ftp_plugin
