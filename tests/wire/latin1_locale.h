// A process locale in ISO 8859-1. The locale of the process decides what a server without UTF-8 is sent.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace wire {

/// One name in both encodings.
inline constexpr const char* kUtf8Name = "caf\xc3\xa9";
inline constexpr const char* kLatin1Name = "caf\xe9";

/// Makes the locale and sets it for the length of a scope; converts to false when that fails.
class Latin1Locale {
 public:
  Latin1Locale() : folder_{testing::TempDir() + "wire_locale_XXXXXX"} {
    if (::mkdtemp(folder_.data()) == nullptr) return;
    const std::string command =
        "localedef -c -i en_US -f ISO-8859-1 '" + folder_ + "/en_US.ISO-8859-1' >/dev/null 2>&1";
    if (std::system(command.c_str()) < 0) return;
    ::setenv("LOCPATH", folder_.c_str(), 1);
    ready_ = std::setlocale(LC_CTYPE, "en_US.ISO-8859-1") != nullptr;
  }
  Latin1Locale(const Latin1Locale&) = delete;
  Latin1Locale& operator=(const Latin1Locale&) = delete;
  ~Latin1Locale() {
    std::setlocale(LC_CTYPE, "C");
    ::unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  explicit operator bool() const { return ready_; }

 private:
  std::string folder_;
  bool ready_ = false;
};

}  // namespace wire
