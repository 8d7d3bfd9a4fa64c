#include "listing/ftpparse_time.h"

#include <gtest/gtest.h>
#include <time.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "tests/unit/listing/utc.h"

namespace {
std::atomic<std::int64_t> clock_moved_by{0};  // seconds
}

// This program's own, in front of the C library's, so that a test can let years pass.
extern "C" time_t time(time_t* result) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  now.tv_sec += clock_moved_by;
  if (result != nullptr) *result = now.tv_sec;
  return now.tv_sec;
}

namespace ftp_plugin {
namespace {

constexpr std::int64_t kDay = 86400;

TEST(Totai, AgreesWithTheCalendarOnEveryDayOfEightCenturies) {
  using namespace std::chrono;
  const sys_days last = year{2400} / December / 31;
  for (sys_days date = year{1600} / January / 1; date <= last; date += days{1}) {
    const year_month_day ymd{date};
    const std::int64_t count = totai(int{ymd.year()}, unsigned{ymd.month()} - 1, unsigned{ymd.day()});
    ASSERT_EQ(list_base() + count, date.time_since_epoch().count() * kDay)
        << int{ymd.year()} << '-' << unsigned{ymd.month()} << '-' << unsigned{ymd.day()};
  }
}

TEST(Totai, LetsADayBeyondTheMonthRunOn) {
  EXPECT_EQ(totai(2023, 0, 32), totai(2023, 1, 1));
  EXPECT_EQ(totai(2023, 12, 1), totai(2024, 0, 1));
}

// The 366th day of a March-based year closes its four years, whichever of the four it was asked for.
TEST(Totai, TakesTheLeapDayOfAYearWithoutOneForTheLastThereWas) {
  EXPECT_EQ(totai(2019, 1, 29), totai(2016, 1, 29));
  EXPECT_EQ(totai(2018, 1, 29), totai(2016, 1, 29));
  EXPECT_EQ(totai(2017, 1, 29), totai(2016, 1, 29));
}

// The tenths of a day are divided towards zero, and March begins the year of the count.
TEST(Totai, TakesTheZerothOfMarchForTheFirst) { EXPECT_EQ(totai(2023, 2, 0), totai(2023, 2, 1)); }

TEST(Totai, WrapsInsteadOfOverflowing) {
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  // Ten times 2^63, and 306 times 2^63, are multiples of 2^64.
  EXPECT_EQ(totai(2020, 0, kMin + 1), totai(2020, 0, 1));
  EXPECT_EQ(totai(2020, kMin, 1), totai(2020, 0, 1));
  // January belongs to the March-based year before, which is the last one there is.
  EXPECT_EQ(totai(kMin, 0, 1), totai(kMax, 12, 1));
}

TEST(YearOf, IsTheCalendarYearOfEveryDayOfEightCenturies) {
  using namespace std::chrono;
  const sys_days last = year{2400} / December / 31;
  for (sys_days date = year{1600} / January / 1; date <= last; date += days{1}) {
    const std::int64_t midnight = date.time_since_epoch().count() * kDay - list_base();
    ASSERT_EQ(year_of(midnight), int{year_month_day{date}.year()}) << midnight;
    ASSERT_EQ(year_of(midnight + kDay - 1), int{year_month_day{date}.year()}) << midnight;
  }
}

struct GuessCase {
  const char* label;
  std::int64_t now;
  int month;  // 1 is January
  int day;
  std::int64_t want;
};
constexpr GuessCase kGuessCases[] = {
    {"ADateOfThisYearBeforeNowIsThisYear", utc(2024, 6, 15), 3, 1, utc(2024, 3, 1)},
    {"TodayIsThisYear", utc(2024, 6, 15, 12), 6, 15, utc(2024, 6, 15)},
    {"TomorrowIsTheFutureNotLastYear", utc(2024, 6, 15), 6, 16, utc(2024, 6, 16)},
    {"ADateUnder350DaysBackIsLastYear", utc(2024, 6, 15), 7, 2, utc(2023, 7, 2)},
    {"OneSecondUnder350DaysBackIsLastYear", utc(2024, 6, 15, 23, 59, 59), 7, 2, utc(2023, 7, 2)},
    {"Exactly350DaysBackIsTheFuture", utc(2024, 6, 16), 7, 2, utc(2024, 7, 2)},
    {"DecemberSeenInJanuaryIsLastYear", utc(2024, 1, 2), 12, 31, utc(2023, 12, 31)},
    {"JanuarySeenInDecemberIsNextToBeSeenAsTheFuture", utc(2023, 12, 31), 1, 5, utc(2024, 1, 5)},
    {"JanuarySeenInMidDecemberIsThisYear", utc(2023, 12, 10), 1, 5, utc(2023, 1, 5)},
    {"TheLeapDayOfAYearWithoutOneIsTheNextThereIs", utc(2023, 3, 10), 2, 29, utc(2024, 2, 29)},
    {"TheLeapDayIsFoundInALeapYear", utc(2024, 3, 10), 2, 29, utc(2024, 2, 29)},
};
class Guesstai : public testing::TestWithParam<GuessCase> {};
TEST_P(Guesstai, PicksTheMostPlausibleYear) {
  const GuessCase& want = GetParam();
  EXPECT_EQ(list_base() + guesstai(want.month - 1, want.day, list_clock_at(want.now)), want.want);
}
INSTANTIATE_TEST_SUITE_P(Years, Guesstai, testing::ValuesIn(kGuessCases),
                         [](const auto& row) { return row.param.label; });

TEST(Guesstai, KeepsTheYearOfTheFirstListingInAProcessThatRunsOn) {
  // Started in 2020, now in June 2022: the search starts at 2019 all the same and ends at the same date.
  const list_clock clock{utc(2022, 6, 15) - list_base(), 2020};
  EXPECT_EQ(list_base() + guesstai(2, 1, clock), utc(2022, 3, 1));
  // A process whose first year lies ahead of the clock starts too late to find last year's date.
  const list_clock ahead{utc(2022, 6, 15) - list_base(), 2025};
  EXPECT_EQ(list_base() + guesstai(2, 1, ahead), utc(2024, 3, 1));
}

TEST(Guesstai, ReturnsTheLastOfAHundredYearsWhenNoneIsPlausible) {
  const list_clock clock = list_clock_at(utc(2024, 6, 15));
  constexpr std::int64_t kFarBack = -1'000'000;  // a day column that holds no number
  EXPECT_EQ(guesstai(5, kFarBack, clock), totai(2023 + 99, 5, kFarBack));
}

TEST(Guesstai, WithoutAClockUsesTheMachines) {
  const list_clock clock = system_list_clock();
  for (int month = 0; month < 12; ++month) {
    const std::int64_t guessed = guesstai(month, 15);
    EXPECT_LT(clock.now - guessed, 350 * kDay);
    EXPECT_GT(clock.now - guessed, -366 * kDay);
  }
}

TEST(SystemListClock, KeepsTheYearOfTheFirstListing) {
  constexpr std::int64_t kThreeYears = 1098 * kDay;
  const list_clock before = system_list_clock();
  clock_moved_by = kThreeYears;
  const list_clock after = system_list_clock();
  clock_moved_by = 0;
  EXPECT_GE(after.now - before.now, kThreeYears) << "the present moves on";
  EXPECT_EQ(after.currentyear, before.currentyear);
}

TEST(SystemListClock, GivesEveryThreadTheSameYear) {
  std::vector<list_clock> seen(4);
  std::vector<std::thread> threads;
  for (list_clock& clock : seen) threads.emplace_back([&clock] { clock = system_list_clock(); });
  for (std::thread& thread : threads) thread.join();
  for (const list_clock& clock : seen) {
    EXPECT_EQ(clock.currentyear, seen.front().currentyear);
    EXPECT_LE(clock.currentyear, year_of(clock.now));
    EXPECT_GE(clock.currentyear, year_of(clock.now) - 1);
  }
}

}  // namespace
}  // namespace ftp_plugin
