#include "host/names.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_host {
namespace {

TEST(UsableName, RefusesWhatCouldLeaveTheDirectory) {
  for (const char* name : {"", ".", "..", "a/b", "/etc", "../x"}) EXPECT_FALSE(is_usable_name(name)) << name;
  EXPECT_FALSE(is_usable_name(std::string_view{"a\0b", 3}));
  for (const char* name : {"a", "...", ".hidden", "a b", "\xC3\xA9", "-rf", "\x1b[2J"})
    EXPECT_TRUE(is_usable_name(name)) << name;
}

struct EscapeCase {
  const char* label;
  std::string text, shown;
};
class Escape : public testing::TestWithParam<EscapeCase> {};
TEST_P(Escape, WritesOutWhatSteersATerminal) {
  EXPECT_EQ(escape_for_terminal(GetParam().text), GetParam().shown);
}
INSTANTIATE_TEST_SUITE_P(, Escape,
                         testing::Values(EscapeCase{"PlainTextStays", "a b.txt", "a b.txt"},
                                         EscapeCase{"LettersBeyondAsciiStay",
                                                    "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                                    "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
                                         EscapeCase{"EscapeSequence", "\x1b]0;x\a", "\\x1B]0;x\\x07"},
                                         EscapeCase{"LineFeedAndTab", "a\n\tb", "a\\x0A\\x09b"},
                                         EscapeCase{"Delete", "\x7f", "\\x7F"},
                                         EscapeCase{"C1ControlInUtf8", "\xC2\x9B", "\\u009B"},
                                         EscapeCase{"BareC1Byte", "\x9B", "\\x9B"},
                                         EscapeCase{"RightToLeftOverride", "a\xE2\x80\xAEtxt", "a\\u202Etxt"},
                                         EscapeCase{"Latin1IsNoUtf8", "caf\xE9", "caf\\xE9"},
                                         EscapeCase{"OverlongForm", "\xC0\xAF", "\\xC0\\xAF"},
                                         EscapeCase{"Surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
                                         EscapeCase{"CutSequence", "\xE2\x82", "\\xE2\\x82"},
                                         EscapeCase{"ForeignBytesAmongCharacters", "\xC3\xA9\xFF\xFE\xC3\xA9",
                                                    "\xC3\xA9\\xFF\\xFE\xC3\xA9"},
                                         EscapeCase{"NoncharactersAreText", "\xEF\xBF\xBE", "\xEF\xBF\xBE"},
                                         EscapeCase{"BackslashIsDoubled", "a\\x41", "a\\\\x41"}),
                         [](const auto& row) { return row.param.label; });

TEST(ValidUtf8, ReplacesEachForeignByte) {
  EXPECT_EQ(make_valid_utf8("caf\xE9!"), "caf\xEF\xBF\xBD!");
  EXPECT_EQ(make_valid_utf8("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(make_valid_utf8("\xC3\xA9"), "\xC3\xA9");
}

}  // namespace
}  // namespace ftp_host
