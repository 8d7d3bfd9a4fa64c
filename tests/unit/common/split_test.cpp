#include "common/split.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace ftp_plugin {
namespace {

using testing::ElementsAre;

struct SplitCase {
  const char* label;
  const char* text;
  const char* separator;
  std::vector<std::string> pieces;
};

class SplitText : public testing::TestWithParam<SplitCase> {};

TEST_P(SplitText, YieldsThePiecesBetweenMatches) {
  const SplitCase& want = GetParam();
  EXPECT_EQ(split(want.text, std::regex{want.separator}), want.pieces);
}

TEST_P(SplitText, DoesTheSameForWideText) {
  const SplitCase& want = GetParam();
  const auto wide = [](const std::string& text) { return std::wstring{text.begin(), text.end()}; };
  std::vector<std::wstring> pieces;
  for (const std::string& piece : want.pieces) {
    pieces.push_back(wide(piece));
  }
  EXPECT_EQ(split(wide(want.text), std::wregex{wide(want.separator)}), pieces);
}

const SplitCase kSplitCases[] = {
    {"EmptyPieceBetweenTwoSeparators", "a\n\nb\n", "\n", {"a", "", "b"}},
    {"EmptyPieceBeforeALeadingSeparator", "\na", "\n", {"", "a"}},
    {"NoPieceAfterAFinalSeparator", "a\n", "\n", {"a"}},
    {"EmptyPieceBetweenTwoFinalSeparators", "a\n\n", "\n", {"a", ""}},
    {"ASeparatorAlone", "\n", "\n", {""}},
    {"NoMatchIsTheWholeText", "abc", ";", {"abc"}},
    {"EmptyTextHasNoPiece", "", ";", {}},
    {"SeparatorsOfSeveralCharacters", "a  b c", " +", {"a", "b", "c"}},
    {"FactsOfAnMlsdLine", "type=dir;size=0;", ";", {"type=dir", "size=0"}},
};
INSTANTIATE_TEST_SUITE_P(, SplitText, testing::ValuesIn(kSplitCases),
                         [](auto& row) { return row.param.label; });

TEST(Split, KeepsWideCharactersThatNarrowTextCannotHold) {
  EXPECT_THAT(split(L"\u00e4/\u20ac", std::wregex{L"/"}), ElementsAre(L"\u00e4", L"\u20ac"));
}

TEST(Split, KeepsZeroBytesAndBytesAboveAscii) {
  const std::string text{"a\0\xE9;b", 5};
  EXPECT_THAT(split(text, std::regex{";"}), ElementsAre(std::string("a\0\xE9", 3), "b"));
}

TEST(Split, ManyLinesDoNotExhaustTheStack) {
  std::string text;
  for (int n = 0; n < 20'000; ++n) {
    text += "-rw-r--r-- 1 u g 5 Jan 1 2020 a\n";
  }
  EXPECT_EQ(split(text, std::regex{"\n"}).size(), 20'000U);
}

}  // namespace
}  // namespace ftp_plugin
