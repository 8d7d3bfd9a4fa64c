#include "host/text.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace ftp_host {
namespace {

TEST(AsciiCase, FoldsTheLettersAToZAndNothingElse) {
  EXPECT_EQ(to_lower("FTP-\xC3\x84[@Z"), "ftp-\xC3\x84[@z");
  EXPECT_TRUE(equal_ignoring_case("PASS ", "pass "));
  EXPECT_FALSE(equal_ignoring_case("PASS", "PASS "));
  EXPECT_FALSE(equal_ignoring_case("@", "`"));
}

TEST(TrimEnd, TakesLineEndsAndBlanksOff) {
  for (const char* text : {"a b", "a b\r\n", "a b \n", "a b   "}) {
    std::string line = text;
    trim_end(line);
    EXPECT_EQ(line, "a b");
  }
  std::string blank = " \r\n";
  trim_end(blank);
  EXPECT_EQ(blank, "");
}

TEST(ParseNumber, TakesNothingButTheWholeNumber) {
  EXPECT_EQ(parse_number<int>("-12"), -12);
  EXPECT_EQ(parse_number<std::uint8_t>("fF", 16), 255);
  for (const char* text : {"", " 1", "1 ", "+1", "1x", "99999999999"}) {
    EXPECT_EQ(parse_number<int>(text), std::nullopt) << text;
  }
  EXPECT_EQ(parse_number<std::uint16_t>("65536"), std::nullopt);
  EXPECT_EQ(parse_number<std::uint16_t>("-1"), std::nullopt);
}

}  // namespace
}  // namespace ftp_host
