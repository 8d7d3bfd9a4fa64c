#include "common/ascii.h"

#include <gtest/gtest.h>

#include <cctype>
#include <clocale>

namespace ftp_plugin {
namespace {

TEST(Ascii, AgreesWithTheCLocaleAboutEveryByte) {
  ASSERT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    EXPECT_EQ(ascii::is_digit(c), std::isdigit(byte) != 0) << byte;
    EXPECT_EQ(ascii::is_upper(c), std::isupper(byte) != 0) << byte;
    EXPECT_EQ(ascii::is_lower(c), std::islower(byte) != 0) << byte;
    EXPECT_EQ(ascii::is_alpha(c), std::isalpha(byte) != 0) << byte;
    EXPECT_EQ(ascii::is_alnum(c), std::isalnum(byte) != 0) << byte;
    EXPECT_EQ(ascii::is_space(c), std::isspace(byte) != 0) << byte;
    EXPECT_EQ(static_cast<unsigned char>(ascii::lower(c)), std::tolower(byte)) << byte;
    EXPECT_EQ(static_cast<unsigned char>(ascii::upper(c)), std::toupper(byte)) << byte;
  }
}

TEST(Ascii, EqualIgnoringCaseFoldsLettersOnly) {
  EXPECT_TRUE(ascii::equal_ignoring_case("SpeedLimit", "speedlimit"));
  EXPECT_TRUE(ascii::equal_ignoring_case("", ""));
  EXPECT_FALSE(ascii::equal_ignoring_case("speedlimit", "speedlimi"));
  EXPECT_FALSE(ascii::equal_ignoring_case("speedlimi", "speedlimit"));
  EXPECT_FALSE(ascii::equal_ignoring_case("[", "{")) << "0x20 apart, as letters are";
  EXPECT_FALSE(ascii::equal_ignoring_case("\xC4", "\xE4")) << "letters in other encodings only";
}

}  // namespace
}  // namespace ftp_plugin
