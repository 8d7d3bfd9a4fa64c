#include "transport/one_line.h"

#include <gtest/gtest.h>

namespace ftp_plugin {
namespace {

TEST(IsOneLine, NeitherCarriageReturnNorLineFeedStandsAnywhere) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {""sv, "a b"sv, "a\tb\v\f"sv, "\0"sv, "\xC2\x85"sv}) {
    EXPECT_TRUE(is_one_line(text)) << text;
  }
  for (const std::string_view text : {"\r"sv, "\n"sv, "a\r"sv, "\na"sv, "a\r\nb"sv, "\0\n"sv}) {
    EXPECT_FALSE(is_one_line(text)) << text;
  }
}

}  // namespace
}  // namespace ftp_plugin
