#include "common/strings.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_plugin {
namespace {

TEST(Trim, RemovesWhiteSpaceAtBothEndsOnly) {
  const struct {
    const char* text;
    const char* trimmed;
  } rows[] = {
      {"  x y \r", "x y"},        {"x", "x"},         {"", ""}, {" \t\n\v\f\r", ""}, {"\v\fa\tb\n", "a\tb"},
      {"\xA0x\xA0", "\xA0x\xA0"}, {" \x01 ", "\x01"},
  };
  for (const auto& row : rows) {
    std::string text = row.text;
    EXPECT_EQ(trim(text), row.trimmed);
  }
}

TEST(Trim, ReturnsItsArgument) {
  std::string text = " a ";
  EXPECT_EQ(&trim(text), &text);
}

struct EndsWithCase {
  const char* label;
  const char* text;
  const char* suffix;
  bool ends;
};

class EndsWith : public testing::TestWithParam<EndsWithCase> {};

TEST_P(EndsWith, ComparesAndSearchesWithTheSameResult) {
  const EndsWithCase& want = GetParam();
  EXPECT_EQ(ends_with(want.text, want.suffix), want.ends);
  EXPECT_EQ(_ends_with(want.text, want.suffix), want.ends);
}

constexpr EndsWithCase kEndsWithCases[] = {
    {"DirectoryMark", "abc<DIR>", "<DIR>", true},
    {"SuffixLongerThanText", "<DIR>", "x<DIR>", false},
    {"TextIsTheSuffix", "<DIR>", "<DIR>", true},
    {"EarlierOccurrenceDoesNotCount", "<DIR>x", "<DIR>", false},
    {"OnlyTheLastOccurrenceCounts", "aXaXa", "aXa", true},
    {"OverlappingOccurrences", "aaa", "aa", true},
    {"EmptySuffix", "abc", "", true},
    {"BothEmpty", "", "", true},
    {"EmptyText", "", "a", false},
    {"LetterCaseCounts", "abc<dir>", "<DIR>", false},
};
INSTANTIATE_TEST_SUITE_P(, EndsWith, testing::ValuesIn(kEndsWithCases),
                         [](auto& row) { return row.param.label; });

TEST(ReplaceAll, LeavesTheTextAsItIs) {
  std::string text = "aaa";
  replace_all(text, std::string{"a"}, std::string{"b"});
  EXPECT_EQ(text, "aaa");
  replace_all(text, std::string{}, std::string{"b"});
  EXPECT_EQ(text, "aaa");
  std::string empty;
  replace_all(empty, std::string{}, std::string{"b"});
  EXPECT_EQ(empty, "");
  std::wstring wide = L"aaa";
  replace_all(wide, std::wstring{L"a"}, std::wstring{L"b"});
  EXPECT_EQ(wide, L"aaa");
}

}  // namespace
}  // namespace ftp_plugin
