// A locale of the process that the machine need not have. The locale decides which encoding a server without
// UTF-8 is sent, and how the C library folds letters.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace fakes {

/// Makes a locale and sets it for the length of a scope; converts to false when that fails. Needs localedef
/// and the character maps of the package `locales`.
class ScopedLocale {
 public:
  ScopedLocale(const std::string& language, const std::string& charset)
      : folder_{testing::TempDir() + "scoped_locale_XXXXXX"} {
    if (::mkdtemp(folder_.data()) == nullptr) return;
    const std::string name = language + "." + charset;
    const std::string command =
        "localedef -c -i " + language + " -f " + charset + " '" + folder_ + "/" + name + "' >/dev/null 2>&1";
    if (std::system(command.c_str()) < 0) return;
    ::setenv("LOCPATH", folder_.c_str(), 1);
    ready_ = std::setlocale(LC_CTYPE, name.c_str()) != nullptr;
  }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;
  ~ScopedLocale() {
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

}  // namespace fakes
