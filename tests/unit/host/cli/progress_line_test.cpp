#include "host/cli/progress_line.h"

#include <gtest/gtest.h>

namespace ftp_host {
namespace {

using std::chrono::seconds;

TEST(Rate, IsZeroBeforeTheSecondSample) {
  Rate rate;
  EXPECT_EQ(rate.per_second(), 0);
  rate.add(Rate::Clock::time_point{}, 5);
  EXPECT_EQ(rate.per_second(), 0);
}

TEST(Rate, ForgetsWhatIsOlderThanItsWindow) {
  Rate rate;
  const Rate::Clock::time_point start{};
  for (int second = 0; second <= 10; ++second) rate.add(start + seconds{second}, second * 1000);
  for (int second = 11; second <= 20; ++second) rate.add(start + seconds{second}, 10000 + (second - 10) * 10);
  EXPECT_NEAR(rate.per_second(), 10, 0.5);
}

TEST(Rate, StartsAgainWhenBytesAreTakenBack) {
  Rate rate;
  const Rate::Clock::time_point start{};
  rate.add(start, 1000);
  rate.add(start + seconds{1}, 0);
  rate.add(start + seconds{2}, 50);
  EXPECT_NEAR(rate.per_second(), 50, 0.1);
}

TEST(ProgressText, TellsShareRateAndTimeLeft) {
  Progress::Snapshot now;
  now.files = {{"file", 4 * 1024 * 1024, 1024 * 1024}};
  now.done = 1024 * 1024;
  now.total = 4 * 1024 * 1024;
  EXPECT_EQ(progress_text(now, 1024 * 1024, 100), "file   25%  1.0 MiB of 4.0 MiB  1.0 MiB/s  0:03 left");
}

TEST(ProgressText, CutsTheNameAndNotTheNumbers) {
  Progress::Snapshot now;
  now.files = {{"a/long/path/to/a/file/with/a/long/name.bin", 20, 10}};
  now.done = 10;
  now.total = 20;
  const std::string text = progress_text(now, 1, 60);
  EXPECT_LE(text.size(), 60u);
  EXPECT_EQ(text.substr(0, 3), "...");
  EXPECT_NE(text.find("name.bin   50%"), std::string::npos) << text;
  EXPECT_NE(text.find("0:10 left"), std::string::npos);
}

TEST(ProgressText, FitsATinyTerminal) {
  Progress::Snapshot now;
  now.total = 100;
  EXPECT_LE(progress_text(now, 0, 10).size(), 10u);
}

TEST(ProgressText, SaysNothingOfTheTimeLeftWhenTheSizeIsUnknown) {
  Progress::Snapshot now;
  now.done = 5;
  EXPECT_EQ(progress_text(now, 0, 80).find("left"), std::string::npos);
}

TEST(ProgressText, TellsTheShareOfEachFileBesideSeveral) {
  Progress::Snapshot now;
  now.files = {{"a", 200, 100}, {"b\x1b", 100, 25}, {"unknown", -1, 5}};
  now.files_done = 3;
  now.files_total = 6;
  const std::string text = progress_text(now, 0, 80);
  EXPECT_EQ(text.substr(0, text.find("  ")), "a 50%, b\\x1B 25%, unknown") << text;
  EXPECT_NE(text.find("3/6 files"), std::string::npos) << text;
}

}  // namespace
}  // namespace ftp_host
