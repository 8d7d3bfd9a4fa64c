#include "common/charset.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace ftp_plugin {
namespace {

struct ConvertCase {
  const char* label;
  const char* to;
  const char* from;
  std::string name;
  std::optional<std::string> converted;
};

class Conversion : public testing::TestWithParam<ConvertCase> {};

TEST_P(Conversion, TakesTheWholeNameOrNothing) {
  const ConvertCase& want = GetParam();
  const converter conversion{want.to, want.from};
  ASSERT_TRUE(conversion);
  EXPECT_EQ(convert_name(conversion, want.name), want.converted);
  EXPECT_EQ(convert_name(conversion, want.name), want.converted) << "the second time";
}

const ConvertCase kConvertCases[] = {
    {"Latin1BecomesUtf8", "UTF-8", "ISO-8859-1", "caf\xE9", "caf\xC3\xA9"},
    {"Utf8BecomesLatin1", "ISO-8859-1", "UTF-8", "caf\xC3\xA9", "caf\xE9"},
    {"EmptyStaysEmpty", "UTF-8", "ISO-8859-1", "", ""},
    {"InvalidSequence", "ISO-8859-1", "UTF-8", "a\xFF", std::nullopt},
    {"IncompleteSequence", "ISO-8859-1", "UTF-8", "a\xC3", std::nullopt},
    {"NoSuchCharacter", "ISO-8859-1", "UTF-8", "\xE2\x82\xAC", std::nullopt},
    {"SubstitutesAreNoConversion", "ASCII//TRANSLIT", "UTF-8", "\xE2\x82\xAC", std::nullopt},
    {"TextEndsAtTheFirstZero", "UTF-16LE", "UTF-8", "ab", "a"},
    {"ZeroInTheNameEndsTheText", "UTF-8", "ISO-8859-1", std::string("a\0b", 3), "a"},
    {"ErrorBehindAZeroStillCounts", "ISO-8859-1", "UTF-8", std::string("a\0\xFF", 3), std::nullopt},
    // This encoding holds every letter back until it knows that no accent follows.
    {"LastLetterIsNotHeldBack", "UTF-8", "TCVN", "ca", "ca"},
    // "\x1b$B" shifts to two-byte characters, "\x1b(B" back: a text must not end shifted.
    {"ShiftsBackAtTheEnd", "ISO-2022-JP", "UTF-8", "\xE3\x81\x82", "\x1b$B$\"\x1b(B"},
};
INSTANTIATE_TEST_SUITE_P(, Conversion, testing::ValuesIn(kConvertCases),
                         [](auto& row) { return row.param.label; });

TEST(ConvertName, BeginsEveryNameInTheInitialState) {
  const converter conversion{"UTF-8", "ISO-2022-JP"};
  ASSERT_TRUE(conversion);
  EXPECT_EQ(convert_name(conversion, "\x1b$B$\""), "\xE3\x81\x82") << "ends shifted";
  EXPECT_EQ(convert_name(conversion, "$\""), "$\"") << "two ASCII characters again";
  EXPECT_EQ(convert_name(conversion, "\x1b$B$"), std::nullopt) << "half a character";
  EXPECT_EQ(convert_name(conversion, "$\""), "$\"");
}

TEST(ConvertName, TakesNamesWhoseResultAndZeroFitTheBuffer) {
  const converter conversion{"UTF-8", "ISO-8859-1"};
  const std::string fits(kNameBufferSize - 1, 'a');
  EXPECT_EQ(convert_name(conversion, fits), fits);
  const std::string accents(kNameBufferSize / 2 - 1, '\xE9');
  ASSERT_TRUE(convert_name(conversion, accents));
  EXPECT_EQ(convert_name(conversion, accents)->size(), kNameBufferSize - 2);
}

TEST(ConvertName, LeavesLongerNamesAlone) {
  const converter conversion{"UTF-8", "ISO-8859-1"};
  EXPECT_EQ(convert_name(conversion, std::string(kNameBufferSize, 'a')), std::nullopt)
      << "no room for the zero";
  EXPECT_EQ(convert_name(conversion, std::string(kNameBufferSize + 1, 'a')), std::nullopt);
  EXPECT_EQ(convert_name(conversion, std::string(kNameBufferSize / 2, '\xE9')), std::nullopt);
  EXPECT_EQ(convert_name(conversion, std::string(1'000'000, 'a')), std::nullopt);
}

TEST(ConvertName, NeedsRoomForTheShiftBackAsWell) {
  const converter conversion{"ISO-2022-JP", "UTF-8"};
  const auto name = [](std::size_t letters) {
    std::string text;
    for (std::size_t n = 0; n < letters; ++n) {
      text += "\xE3\x81\x82";  // two bytes of the result
    }
    return text;
  };
  constexpr std::size_t kShifts = 2 * 3;  // "\x1b$B" in front, "\x1b(B" behind
  constexpr std::size_t kMost = (kNameBufferSize - kShifts - 1) / 2;
  ASSERT_TRUE(convert_name(conversion, name(kMost)));
  EXPECT_EQ(convert_name(conversion, name(kMost))->size(), 2 * kMost + kShifts);
  EXPECT_EQ(convert_name(conversion, name(kMost + 1)), std::nullopt);
}

TEST(ConvertName, NeedsNoRoomForAZeroThatIsThere) {
  const converter conversion{"UTF-8", "ISO-8859-1"};
  std::string name(kNameBufferSize, 'a');
  name[3] = '\0';
  EXPECT_EQ(convert_name(conversion, name), "aaa");
}

TEST(Converter, IsFalseForAnEncodingThatNobodyKnows) {
  const converter conversion{"UTF-8", "no such encoding"};
  EXPECT_FALSE(conversion);
  EXPECT_EQ(convert_name(conversion, "a"), std::nullopt);
}

TEST(Converter, TakesTheEmptyNameForTheLocale) {
  const converter conversion{"UTF-8", ""};
  ASSERT_TRUE(conversion);
  EXPECT_EQ(convert_name(conversion, "a"), "a");
  EXPECT_EQ(convert_name(conversion, "\xE9"), std::nullopt) << "the C locale is ASCII";
}

}  // namespace
}  // namespace ftp_plugin
