#include "common/wildcard.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_plugin {
namespace {

struct WildcardCase {
  const char* label;
  const char* expression;
  const char* name;
  bool matches;
  bool ignore_case = false;
};

class IsNameIn : public testing::TestWithParam<WildcardCase> {};

TEST_P(IsNameIn, MatchesByteAndWideTextAlike) {
  const WildcardCase& want = GetParam();
  const auto wide = [](const std::string& text) { return std::wstring{text.begin(), text.end()}; };
  EXPECT_EQ(IsNameInExpressionA(want.expression, want.name, want.ignore_case), want.matches);
  EXPECT_EQ(IsNameInExpression(wide(want.expression).c_str(), wide(want.name).c_str(), want.ignore_case),
            want.matches);
}

constexpr WildcardCase kWildcardCases[] = {
    {"LetterCaseCounts", "*.txt", "A.TXT", false},
    {"LetterCaseIgnored", "*.txt", "A.TXT", true, true},
    {"LetterCaseIgnoredInTheExpression", "A.TXT", "a.txt", true, true},
    {"OtherLettersStillDiffer", "a", "b", false, true},
    {"PlainNames", "abc", "abc", true},
    {"NameTooLong", "abc", "abcd", false},
    {"NameTooShort", "abcd", "abc", false},
    {"EmptyMatchesEmpty", "", "", true},
    {"EmptyExpression", "", "a", false},

    {"StarMatchesAnything", "*", "anything", true},
    {"StarMatchesNothing", "*", "", true},
    {"StarAtTheEnd", "a*", "a", true},
    {"StarInTheMiddle", "a*c", "abbbc", true},
    {"StarStandsForNothing", "a*c", "ac", true},
    {"StarTriesLaterPlaces", "*bc", "abcbc", true},
    {"StarWithoutContinuation", "*d", "abc", false},
    {"StarOnAnEmptyName", "*a", "", false},
    {"TwoStars", "**", "abc", true},
    {"StarsAndLetters", "*a*b*", "xxaxxbxx", true},
    {"StarsInTheWrongOrder", "*b*a", "ab", false},

    {"QuestionMarkIsOneCharacter", "a?c", "abc", true},
    {"QuestionMarkNeedsACharacter", "a?", "a", false},
    {"QuestionMarkMatchesADot", "a?c", "a.c", true},
    {"QuestionMarkPastTheEndAndStar", "a?*", "a", true},
    {"QuestionMarkPastTheEndAndLetter", "a?*b", "a", false},
    {"TwoPastTheEnd", "??", "", false},
    {"StarLeavesOneForTheQuestionMark", "*?", "abc", true},

    {"DosDotMatchesADot", "a\"b", "a.b", true},
    {"DosDotMatchesNothing", "ab\"", "ab", true},
    {"DosDotMatchesNoOtherCharacter", "a\"b", "axb", false},
    {"DosDotBetweenLetters", "a\"b", "ab", true},

    {"DosQuestionMarkIsOneCharacter", ">bc", "abc", true},
    {"DosQuestionMarkStopsAtTheLastDot", "a>.b", "a.b", true},
    {"DosQuestionMarkTakesAnEarlierDot", "a>b.c", "a.b.c", true},
    {"DosQuestionMarkNeedsACharacterAtTheEnd", "a>", "a", false},
    {"ManyDosQuestionMarksBeforeADot", "a>>>.b", "a.b", true},

    {"DosStarUpToTheLastDot", "<.c", "a.b.c", true},
    {"DosStarUpToAnEarlierDot", "<.b.c", "a.b.c", true},
    {"DosStarAtTheLastDot", "a<.b", "a.b", true},
    {"DosStarDoesNotPassTheLastDot", "a<c", "a.c", false},
    {"DosStarAloneBeforeTheDot", "<", "abc.", false},
    {"DosStarAtTheStartOfANameWithoutADot", "<", "abc", false},
    {"DosStarOnAnEmptyName", "<", "", true},
    {"DosStarInsideANameWithoutADot", "a<", "abc", true},
    {"DosStarBetweenLettersWithoutADot", "a<c", "abbc", true},
    {"DosStarAtTheEndOfTheName", "ab<", "ab", true},
    {"DosStarAtALeadingDot", "<.a", ".a", true},
    {"DosStarTriesEveryPlace", "x<b.c", "xabab.c", true},
    {"StarThenDosStar", "*<", "abc", true},
    {"StarMakesUpForADosStarThatConsumesNothing", "a*<c", "abc", true},
    {"DosStarThenLettersOfATrial", "*a<b", "xab", true},
    {"DosStarThenDosDotThenStar", "<\"*", "abc.def", true},
};
INSTANTIATE_TEST_SUITE_P(, IsNameIn, testing::ValuesIn(kWildcardCases),
                         [](auto& row) { return row.param.label; });

TEST(IsNameInExpressionA, ComparesBytesAboveAsciiAsTheyAre) {
  EXPECT_TRUE(IsNameInExpressionA("\xE9?", "\xE9\xFF", false));
  EXPECT_TRUE(IsNameInExpressionA("\xE9", "\xE9", true));
  EXPECT_FALSE(IsNameInExpressionA("\xE9", "\xC9", true)) << "the C locale folds ASCII only";
}

TEST(IsNameInExpression, ComparesWideCharactersAsTheyAre) {
  EXPECT_TRUE(IsNameInExpression(L"\u20ac?", L"\u20ac\u00e4", false));
  EXPECT_FALSE(IsNameInExpression(L"\u20ac", L"\u20ad", false));
}

}  // namespace
}  // namespace ftp_plugin
