#include "listing/c_number.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace ftp_plugin {
namespace {

TEST(AtollOf, ReadsWhatTheLibraryReads) {
  for (const char* text : {"",
                           " ",
                           "0",
                           "12",
                           "-12",
                           "+12",
                           "- 12",
                           "+-1",
                           "--1",
                           "  42x",
                           "\t\n\v\f\r7",
                           "x7",
                           "007",
                           "1.5",
                           "\xff",
                           "9223372036854775806",
                           "9223372036854775807",
                           "9223372036854775808",
                           "9223372036854775809",
                           "92233720368547758070",
                           "-9223372036854775807",
                           "-9223372036854775808",
                           "-9223372036854775809",
                           "-92233720368547758080",
                           "99999999999999999999999999999999999999",
                           "-99999999999999999999999999999999"}) {
    EXPECT_EQ(atoll_of(text), std::atoll(text)) << '"' << text << '"';
  }
}

TEST(AtollOf, StopsAtTheEndOfTheView) {
  const std::string digits = "123456";
  EXPECT_EQ(atoll_of(std::string_view{digits}.substr(0, 3)), 123);
  EXPECT_EQ(atoll_of(std::string_view{digits}.substr(6)), 0);
}

}  // namespace
}  // namespace ftp_plugin
