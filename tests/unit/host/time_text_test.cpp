#include "host/time_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace ftp_host {
namespace {

TEST(RecordTime, IsReadAsUtc) { EXPECT_EQ(parse_record_time("2024-03-05T07:08:09.000Z"), 1709622489); }

TEST(RecordTime, TakesTheWritersUnknownAsUnknown) {
  EXPECT_EQ(parse_record_time("1969-12-31T23:59:59.000Z"), std::nullopt);
  EXPECT_EQ(parse_record_time(""), std::nullopt);
  EXPECT_EQ(parse_record_time("--T::.000Z"), std::nullopt);
  EXPECT_EQ(parse_record_time("2024-13-05T07:08:09.000Z"), std::nullopt);
}

TEST(RecordTime, GoesRoundUnchanged) {
  for (const std::time_t seconds :
       {std::time_t{0}, std::time_t{1709622489}, std::time_t{-86400}, std::time_t{4102444800}}) {
    EXPECT_EQ(parse_record_time(record_time(seconds)), seconds);
  }
}

TEST(RecordTime, HasRoomForFourDigitsOfAYear) {
  EXPECT_EQ(record_time(std::numeric_limits<std::time_t>::max()), "9999-12-30T23:59:59.000Z");
  EXPECT_EQ(record_time(std::numeric_limits<std::time_t>::min()), "0001-01-02T00:00:00.000Z");
  EXPECT_EQ(record_time(-62135510400), "0001-01-02T00:00:00.000Z");
}

TEST(UserTime, KnowsUtcSecondsAndNow) {
  EXPECT_EQ(parse_user_time("2024-03-05T07:08:09Z"), 1709622489);
  EXPECT_EQ(parse_user_time("2024-03-05 07:08Z"), 1709622480);
  EXPECT_EQ(parse_user_time("@1709622489"), 1709622489);
  EXPECT_EQ(parse_user_time("2024-02-29Z"), 1709164800);
  EXPECT_LE(std::time(nullptr) - parse_user_time("now").value(), 2);
}

TEST(UserTime, IsLocalOtherwise) {
  setenv("TZ", "America/New_York", 1);
  tzset();
  EXPECT_EQ(parse_user_time("2024-03-05T02:08:09"), 1709622489);
  EXPECT_EQ(parse_user_time("2024-07-01"), 1719806400);
  EXPECT_EQ(local_time_text(1709622489), "2024-03-05 02:08:09");
  unsetenv("TZ");
  tzset();
}

TEST(UserTime, RefusesOtherTexts) {
  for (const char* text :
       {"", "yesterday", "2024-3-5", "2024-03-05T25:00", "2024-03-05 07:08:09 PM", "@x", "2024-00-05",
        "2024-02-30", "2023-02-29Z", "2024-03-05T07:08:61", "2024-03-05T07:60", "2024-03-05Z ", "+024-03-05",
        "@", "@1x", "@9223372036854775807"}) {
    EXPECT_EQ(parse_user_time(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace ftp_host
