// A locale of the process that the machine need not have. The locale decides which encoding a server without
// UTF-8 is sent, and how the C library folds letters.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace fakes {

/// Makes a locale and sets it for the length of a scope. Throws std::runtime_error when it cannot be made.
class ScopedLocale {
 public:
  ScopedLocale(const std::string& language, const std::string& charset)
      : folder_{testing::TempDir() + "scoped_locale_XXXXXX"} {
    if (::mkdtemp(folder_.data()) == nullptr) throw std::runtime_error{"mkdtemp " + folder_};
    const std::string name = language + "." + charset;
    const std::string command =
        "localedef -c -i " + language + " -f " + charset + " '" + folder_ + "/" + name + "' >/dev/null 2>&1";
    ::setenv("LOCPATH", folder_.c_str(), 1);
    // Its warnings do not matter: what counts is whether the locale can be set.
    if (std::system(command.c_str()) >= 0 && std::setlocale(LC_CTYPE, name.c_str()) != nullptr) return;
    forget();
    throw std::runtime_error{"no locale " + name +
                             ": localedef and the character maps of the package `locales` are needed"};
  }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;
  ~ScopedLocale() { forget(); }

 private:
  void forget() {
    std::setlocale(LC_CTYPE, "C");
    ::unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string folder_;
};

}  // namespace fakes
