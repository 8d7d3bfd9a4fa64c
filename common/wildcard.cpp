#include "common/wildcard.h"

#include <cctype>
#include <cstddef>
#include <cwctype>
#include <string_view>

namespace ftp_plugin {
namespace {

int upper(char c) noexcept { return std::toupper(static_cast<unsigned char>(c)); }
std::wint_t upper(wchar_t c) noexcept { return std::towupper(static_cast<std::wint_t>(c)); }

// Every trial of `*` and `<` starts anew with what is left of both texts.
template <class Char>
bool matches(std::basic_string_view<Char> expression, std::basic_string_view<Char> name,
             bool ignore_case) noexcept {
  constexpr auto kNone = std::basic_string_view<Char>::npos;
  constexpr Char kDot = Char{'.'};
  const auto rest_matches = [&](std::size_t rest, std::size_t from) {
    return matches(expression.substr(rest), name.substr(from), ignore_case);
  };

  std::size_t at = 0;  // past the end of the name once a character was consumed that is not there
  for (std::size_t n = 0; n < expression.size(); ++n) {
    const bool at_end = at >= name.size();
    switch (const Char wanted = expression[n]) {
      case Char{'*'}:
        if (n + 1 == expression.size()) {
          return true;
        }
        for (; at < name.size(); ++at) {
          if (rest_matches(n + 1, at)) {
            return true;
          }
        }
        break;
      case Char{'?'}:
        ++at;
        break;
      case Char{'"'}:
        if (!at_end && name[at] == kDot) {
          ++at;
        }
        break;
      case Char{'>'}:
        if (at_end || name[at] != kDot || name.find(kDot, at + 1) != kNone) {
          ++at;
        }
        break;
      case Char{'<'}: {
        const std::size_t last_dot = at_end ? kNone : name.find_last_of(kDot);
        const bool dot_ahead = last_dot != kNone && last_dot >= at;
        // Kept on purpose: without a dot ahead its place counts as 0, so `<` at the start of such a name
        // consumes nothing, and alone it matches only the empty name. Pinned by
        // IsNameIn.MatchesByteAndWideTextAlike.
        if (at_end || at == (dot_ahead ? last_dot : 0)) {
          break;
        }
        for (const std::size_t stop = dot_ahead ? last_dot : name.size(); at < stop; ++at) {
          if (rest_matches(n + 1, at)) {
            return true;
          }
        }
        break;
      }
      default:
        if (at_end || (ignore_case ? upper(wanted) != upper(name[at]) : wanted != name[at])) {
          return false;
        }
        ++at;
    }
  }
  return at == name.size();
}

}  // namespace

bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case) noexcept {
  return matches<char>(expression, name, ignore_case);
}

bool IsNameInExpression(const wchar_t* expression, const wchar_t* name, bool ignore_case) noexcept {
  return matches<wchar_t>(expression, name, ignore_case);
}

}  // namespace ftp_plugin
