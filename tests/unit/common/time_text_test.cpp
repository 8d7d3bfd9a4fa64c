#include "common/time_text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/time_zone.h"

namespace ftp_plugin {
namespace {

using fakes::ScopedTimeZone;

constexpr const char* kZones[] = {
    "UTC",           "America/New_York", "America/St_Johns",    "Asia/Kolkata",
    "Europe/London", "Europe/Moscow",    "Australia/Lord_Howe", "Africa/Monrovia",
    "Asia/Shanghai", "Pacific/Apia",     "Pacific/Kwajalein",   "Africa/Freetown",
};

constexpr time_t kJan2020 = 1577836800;
constexpr time_t kJuly2020 = 1593561600;

/// The steps of every seconds-to-text function, one by one.
std::string literal_text(time_t seconds) {
  tm local{};
  localtime_r(&seconds, &local);
  const time_t instant = mktime(&local);
  tm utc{};
  gmtime_r(&instant, &utc);
  char text[96] = {};
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.000Z", utc.tm_year + 1900, utc.tm_mon + 1,
                utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
  return text;
}

class InZone : public testing::TestWithParam<const char*> {
 private:
  ScopedTimeZone zone_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(, InZone, testing::ValuesIn(kZones), [](auto& row) {
  return std::regex_replace(std::string{row.param}, std::regex{"[^A-Za-z]"}, "_");
});

TEST_P(InZone, TheEpochIsTheEpoch) { EXPECT_EQ(TimeToRFC3339(0), "1970-01-01T00:00:00.000Z"); }

TEST_P(InZone, SecondsTravelThroughLocalTimeToText) {
  std::mt19937 random{20200105};
  std::uniform_int_distribution<std::int32_t> any;
  for (int n = 0; n < 20'000; ++n) {
    const time_t seconds = any(random) * (n % 2 == 0 ? 1 : -1);
    ASSERT_EQ(TimeToRFC3339(seconds), literal_text(seconds)) << seconds;
  }
}

TEST_P(InZone, ClockChangesLeadThroughLocalTime) {
  constexpr time_t kStep = 6 * 3600;
  int changes = 0;
  long offset = 0;
  for (time_t seconds = -2147483648; seconds < 2147483648; seconds += kStep) {
    tm local{};
    localtime_r(&seconds, &local);
    if (local.tm_gmtoff != offset) {
      ++changes;
      offset = local.tm_gmtoff;
      for (time_t near = seconds - 5 * kStep; near < seconds + 5 * kStep; near += 599) {
        ASSERT_EQ(TimeToRFC3339(near), literal_text(near)) << near;
      }
    }
  }
  EXPECT_EQ(changes > 0, std::string{GetParam()} != "UTC");
}

TEST_P(InZone, EveryHourOfTwoYearsIsItself) {
  for (time_t seconds = kJan2020; seconds < kJan2020 + 2 * 365 * 86400; seconds += 1800) {
    tm utc{};
    gmtime_r(&seconds, &utc);
    ASSERT_EQ(TimeToRFC3339(seconds), TMToRFC3339(&utc)) << seconds;
  }
}

TEST_P(InZone, TheNamesForServerTimesAnswerTheSameText) {
  for (const time_t seconds : {time_t{0}, kJan2020, kJuly2020, time_t{-1}, time_t{2147483647}}) {
    EXPECT_EQ(TimeToUTCRFC3339(seconds), TimeToRFC3339(seconds));
    EXPECT_EQ(NoAdjustOffsetForServerTime(seconds), TimeToRFC3339(seconds));
  }
}

TEST(TimeToRFC3339, PadsEveryFieldToItsWidth) {
  const ScopedTimeZone utc{"UTC"};
  EXPECT_EQ(TimeToRFC3339(kJan2020), "2020-01-01T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(-2147483648), "1901-12-13T20:45:52.000Z");
  EXPECT_EQ(TimeToRFC3339(2147483647), "2038-01-19T03:14:07.000Z");
  EXPECT_EQ(TimeToRFC3339(253402300799), "9999-12-31T23:59:59.000Z");
}

TEST(TimeToRFC3339, WritesYearsOfOtherLengthsToo) {
  const ScopedTimeZone utc{"UTC"};
  EXPECT_EQ(TimeToRFC3339(253402300800), "10000-01-01T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(-62198755200), "-001-01-01T00:00:00.000Z");
}

TEST(TimeToRFC3339, AnswersSomeTextForInstantsBeyondAllCalendars) {
  for (const time_t seconds : {std::numeric_limits<time_t>::min(), std::numeric_limits<time_t>::max()}) {
    EXPECT_EQ(TimeToRFC3339(seconds).substr(TimeToRFC3339(seconds).size() - 5), ".000Z");
  }
}

TEST(TimeToRFC3339, TakesOneOfTheTwoInstantsOfARepeatedHourWithoutDaylightSaving) {
  // Moscow put its clocks back by one hour on 2014-10-26, with standard time before and after.
  const ScopedTimeZone zone{"Europe/Moscow"};
  const std::string text = TimeToRFC3339(1414274400 + 900);
  EXPECT_TRUE(text == "2014-10-25T22:15:00.000Z" || text == "2014-10-25T21:15:00.000Z") << text;
}

TEST(TimeToRFC3339, ThreadsDoNotDisturbEachOther) {
  const ScopedTimeZone zone{"America/New_York"};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &wrong] {
      const time_t seconds = kJan2020 + t * 86400 * 31;
      const std::string want = "2020-0" + std::to_string(1 + t) + (t < 2 ? "-01" : t == 2 ? "-03" : "-03");
      for (int n = 0; n < 2'000; ++n) {
        wrong += TimeToRFC3339(seconds).substr(0, 10) == want ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

TEST(AdjustOffsetForServerTime, MovesByTheOffsetOfOctober2015InEverySeason) {
  const ScopedTimeZone zone{"Asia/Kolkata"};
  EXPECT_EQ(AdjustOffsetForServerTime(kJan2020), "2020-01-01T05:30:00.000Z");
  EXPECT_EQ(AdjustOffsetForServerTime(kJuly2020), "2020-07-01T05:30:00.000Z");
  EXPECT_EQ(AdjustOffsetForServerTime(-1), "1970-01-01T05:29:59.000Z");
}

TEST(AdjustOffsetForServerTime, ReadsTheOffsetAsStandardTime) {
  // Daylight saving held in New York and in London on that day. The reference is read as UTC fields in
  // standard time, so the offset is the one of winter.
  {
    const ScopedTimeZone zone{"America/New_York"};
    EXPECT_EQ(AdjustOffsetForServerTime(kJuly2020), "2020-06-30T19:00:00.000Z");
  }
  const ScopedTimeZone zone{"Europe/London"};
  EXPECT_EQ(AdjustOffsetForServerTime(kJuly2020), "2020-07-01T00:00:00.000Z");
}

TEST(AdjustServerTimeOffset, MovesByTwiceTheOffset) {
  {
    const ScopedTimeZone zone{"Asia/Kolkata"};
    EXPECT_EQ(AdjustServerTimeOffset("2020-01-01T12:00:00.000Z"), "2020-01-01T01:00:00.000Z");
  }
  {
    const ScopedTimeZone zone{"America/New_York"};
    EXPECT_EQ(AdjustServerTimeOffset("2020-01-01T12:00:00.000Z"), "2020-01-01T22:00:00.000Z");
  }
  const ScopedTimeZone zone{"UTC"};
  EXPECT_EQ(AdjustServerTimeOffset("2020-01-01T12:00:00.000Z"), "2020-01-01T12:00:00.000Z");
}

TEST(NoAdjustServerTimeOffset, ReturnsItsTextByteForByte) {
  for (const char* text : {"2020-01-01T12:00:00.123+02:00", "", "no time at all\xFF"}) {
    EXPECT_EQ(NoAdjustServerTimeOffset(text), text);
  }
}

TEST(RFC3339ToTM, ReadsTheTextAsLocalTime) {
  {
    const ScopedTimeZone zone{"Asia/Kolkata"};
    EXPECT_EQ(RFC3339ToTM("2020-01-01T00:00:00.000Z"), kJan2020 - 19800);
  }
  const ScopedTimeZone zone{"UTC"};
  EXPECT_EQ(RFC3339ToTM("2020-01-01T00:00:00.000Z"), kJan2020);
}

TEST(RFC3339ToTM, ReadsSummerAsStandardTimeOneHourOff) {
  const ScopedTimeZone zone{"America/New_York"};
  EXPECT_EQ(RFC3339ToTM("2020-01-01T00:00:00"), kJan2020 + 5 * 3600);
  EXPECT_EQ(RFC3339ToTM("2020-07-01T00:00:00"), kJuly2020 + 5 * 3600);  // the clocks said 4 hours
}

TEST(RFC3339ToTM, IgnoresWhatFollowsTheSeconds) {
  const ScopedTimeZone zone{"UTC"};
  for (const char* text : {"2020-01-01T00:00:00", "2020-01-01T00:00:00Z", "2020-01-01T00:00:00.999+05:00",
                           "2020-1-1T0:0:0 and more", "2020-01-01T00:00:0x"}) {
    EXPECT_EQ(RFC3339ToTM(text), kJan2020) << text;
  }
}

TEST(RFC3339ToTM, TakesWhatATextDoesNotHoldAsZero) {
  const ScopedTimeZone zone{"UTC"};
  // Year 1900, month -1, day 0 is 1899-11-30.
  EXPECT_EQ(TimeToRFC3339(RFC3339ToTM("")), "1899-11-30T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(RFC3339ToTM("2020")), "2019-11-30T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(RFC3339ToTM("2020-03-15")), "2020-03-15T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(RFC3339ToTM("2020-03-15 10:00:00")), "2020-03-15T00:00:00.000Z");
}

TEST(RFC3339ToTM, SurvivesNumbersThatFitNowhere) {
  const ScopedTimeZone zone{"UTC"};
  (void)RFC3339ToTM("-2147483648--2147483648--2147483648T-2147483648:-2147483648:-2147483648");
  EXPECT_NE(TMToRFC3339([] {
              static tm bt{};
              bt.tm_year = bt.tm_mon = bt.tm_mday = bt.tm_hour = bt.tm_min = bt.tm_sec =
                  std::numeric_limits<int>::max();
              return &bt;
            }()),
            "");
}

TEST(RFC3339ToLocalTM, ReadsTheTextAsUtcWhereNoDaylightSavingHolds) {
  for (const char* name : {"UTC", "America/New_York", "Asia/Kolkata", "Europe/London"}) {
    const ScopedTimeZone zone{name};
    EXPECT_EQ(RFC3339ToLocalTM("2020-01-01T00:00:00.000Z"), kJan2020) << name;
  }
}

TEST(TMToRFC3339, WritesTheFieldsAsTheyStand) {
  tm bt{};
  bt.tm_year = 120;
  bt.tm_mday = 5;
  bt.tm_hour = 12;
  bt.tm_min = 34;
  bt.tm_sec = 56;
  for (const char* name : kZones) {
    const ScopedTimeZone zone{name};
    EXPECT_EQ(TMToRFC3339(&bt), "2020-01-05T12:34:56.000Z") << name;
  }
}

TEST(TMToRFC3339, DoesNotNormalise) {
  tm bt{};
  bt.tm_year = 120;
  bt.tm_mon = 12;
  bt.tm_mday = 32;
  bt.tm_hour = 25;
  bt.tm_min = 61;
  bt.tm_sec = -1;
  EXPECT_EQ(TMToRFC3339(&bt), "2020-13-32T25:61:-1.000Z");
  EXPECT_EQ(bt.tm_sec, -1);
}

TEST(TMToUTCRFC3339, NormalisesInPlaceAndWritesUtc) {
  const ScopedTimeZone zone{"Asia/Kolkata"};
  tm bt{};
  bt.tm_year = 119;
  bt.tm_mon = 12;
  bt.tm_mday = 1;
  bt.tm_hour = 5;
  bt.tm_min = 90;
  EXPECT_EQ(TMToUTCRFC3339(&bt), "2020-01-01T01:00:00.000Z");
  EXPECT_EQ(bt.tm_year, 120);
  EXPECT_EQ(bt.tm_mon, 0);
  EXPECT_EQ(bt.tm_hour, 6);
  EXPECT_EQ(bt.tm_min, 30);
}

TEST(GetSystemTimeRfc3339, HasMillisecondsAndNoZoneLetter) {
  const ScopedTimeZone zone{"Asia/Kolkata"};
  const time_t before = time(nullptr);
  const std::string text = GetSystemTimeRfc3339();
  const time_t after = time(nullptr);
  EXPECT_TRUE(std::regex_match(text, std::regex{R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})"})) << text;
  EXPECT_GE(text.substr(0, 19), TimeToRFC3339(before).substr(0, 19));
  EXPECT_LE(text.substr(0, 19), TimeToRFC3339(after).substr(0, 19));
}

}  // namespace
}  // namespace ftp_plugin
