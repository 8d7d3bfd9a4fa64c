#include "common/url_encode.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_plugin {
namespace {

TEST(URLEncode, KeepsTheSlashAndEncodesBlankAndTilde) { EXPECT_EQ(URLEncode("a b/c~d"), "a%20b/c%7Ed"); }

TEST(URLEncode, EncodesEveryByteOfUtf8) { EXPECT_EQ(URLEncode("\xC3\xA9"), "%C3%A9"); }

TEST(URLEncode, OfAnEmptyTextIsEmpty) { EXPECT_EQ(URLEncode(""), ""); }

TEST(URLEncode, KeepsAsciiLettersDigitsAndFourSigns) {
  const std::string kept = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-./_";
  EXPECT_EQ(URLEncode(kept.c_str()), kept);
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    if (kept.find(text) == std::string::npos) {
      const char digits[] = "0123456789ABCDEF";
      EXPECT_EQ(URLEncode(text.c_str()), (std::string{'%', digits[byte / 16], digits[byte % 16]}));
    }
  }
}

TEST(URLEncode, EncodesLineBreaksAndPercentSigns) { EXPECT_EQ(URLEncode("a\r\nb%20"), "a%0D%0Ab%2520"); }

TEST(URLEncode, HoldsTextsOfAnyLength) {
  EXPECT_EQ(URLEncode(std::string(100'000, ' ').c_str()).size(), 300'000U);
}

}  // namespace
}  // namespace ftp_plugin
