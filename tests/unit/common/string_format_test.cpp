#include "common/string_format.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>

namespace ftp_plugin {
namespace {

TEST(StringFormat, PutsTheArgumentsIntoTheFormat) {
  EXPECT_EQ(string_format("MFMT %04d%02d%02d %s", 2020, 1, 5, "a b"), "MFMT 20200105 a b");
  EXPECT_EQ(string_format("%llu of %lld, %c%%", 5ULL, -7LL, 'x'), "5 of -7, x%");
}

TEST(StringFormat, OfAnEmptyFormatIsEmpty) { EXPECT_EQ(string_format(""), ""); }

TEST(StringFormat, TriesAgainWithRoomForALongText) {
  const std::string name(500, 'n');
  const std::string text = string_format("/%s", name.c_str());
  EXPECT_EQ(text.size(), 501U);
  EXPECT_EQ(text, "/" + name);
}

TEST(StringFormat, HoldsTextsOfEveryLengthAroundItsFirstBuffer) {
  for (std::size_t length = 0; length < 12; ++length) {
    const std::string word(length, 'w');
    EXPECT_EQ(string_format("%s:", word.c_str()), word + ":") << length;
  }
}

TEST(StringFormat, HoldsATextOfManyMegabytes) {
  const std::string text(20'000'000, 't');
  EXPECT_EQ(string_format("%s", text.c_str()), text);
}

TEST(StringFormat, GivesUpOnWhatTheCLibraryRefuses) {
  const wchar_t no_character[] = {static_cast<wchar_t>(0x7FFFFFFF), L'\0'};
  EXPECT_THROW((void)string_format("%ls", no_character), std::bad_alloc);
}

TEST(StringFormat, EndsAtAZeroByteInTheText) {
  const std::string text = string_format("a%cb", '\0');
  EXPECT_EQ(text, "a");
}

TEST(StringFormat, KeepsBytesThatAreNotAscii) {
  EXPECT_EQ(string_format("%s\xC3\xA9", "\xFF"), "\xFF\xC3\xA9");
}

}  // namespace
}  // namespace ftp_plugin
