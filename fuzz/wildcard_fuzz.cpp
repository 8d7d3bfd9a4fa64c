// Wildcards: byte and wide text match alike, and expressions without a wildcard match themselves only.
// Input: one byte, odd to ignore letter case; the expression; a line feed; the name.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "common/wildcard.h"
#include "fuzz/require.h"

namespace {

// Matching takes exponential time by design, so expressions are kept short here.
constexpr std::size_t kLongestName = 24;
constexpr std::ptrdiff_t kMostTrials = 5;

std::wstring wide(const std::string& text) {
  std::wstring result;
  for (const char c : text) {
    result += static_cast<wchar_t>(static_cast<unsigned char>(c));
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const bool ignore_case = data[0] % 2 == 1;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t line_end = std::min(text.find('\n'), text.size());
  const std::string expression = text.substr(0, line_end).c_str();
  const std::string name = text.substr(std::min(line_end + 1, text.size())).c_str();
  const auto trials =
      std::count_if(expression.begin(), expression.end(), [](char c) { return c == '*' || c == '<'; });
  if (trials > kMostTrials || name.size() > kLongestName) {
    return 0;
  }

  using ftp_plugin::IsNameInExpressionA;
  const bool matches = IsNameInExpressionA(expression.c_str(), name.c_str(), ignore_case);
  REQUIRE(matches ==
          ftp_plugin::IsNameInExpression(wide(expression).c_str(), wide(name).c_str(), ignore_case));
  REQUIRE(!matches || IsNameInExpressionA(expression.c_str(), name.c_str(), true));
  REQUIRE(IsNameInExpressionA("*", name.c_str(), ignore_case));
  if (matches && expression.find('<') == std::string::npos) {
    REQUIRE(IsNameInExpressionA(("*" + expression).c_str(), name.c_str(), ignore_case));
  }
  if (expression.find_first_of("*?\"><") == std::string::npos && !ignore_case) {
    REQUIRE(matches == (expression == name));
  }
  return 0;
}
