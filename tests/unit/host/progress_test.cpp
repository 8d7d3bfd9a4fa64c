#include "host/progress.h"

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

TEST(ByteText, KeepsThreeDigits) {
  EXPECT_EQ(byte_text(0), "0 B");
  EXPECT_EQ(byte_text(999), "999 B");
  EXPECT_EQ(byte_text(1000), "1.0 KiB");
  EXPECT_EQ(byte_text(1536), "1.5 KiB");
  EXPECT_EQ(byte_text(200.0 * 1024 * 1024), "200 MiB");
}

TEST(DurationText, GrowsAnHourColumn) {
  EXPECT_EQ(duration_text(5), "0:05");
  EXPECT_EQ(duration_text(754), "12:34");
  EXPECT_EQ(duration_text(3723), "1:02:03");
  EXPECT_EQ(duration_text(-1), "--:--");
  EXPECT_EQ(duration_text(1e9), "--:--");
}

TEST(ProgressText, TellsShareRateAndTimeLeft) {
  ProgressState state;
  state.name = "file";
  state.done = 1024 * 1024;
  state.total = 4 * 1024 * 1024;
  state.rate = 1024 * 1024;
  EXPECT_EQ(progress_text(state, 100), "file   25%  1.0 MiB of 4.0 MiB  1.0 MiB/s  0:03 left");
}

TEST(ProgressText, CutsTheNameAndNotTheNumbers) {
  ProgressState state;
  state.name = "a/long/path/to/a/file/with/a/long/name.bin";
  state.done = 10;
  state.total = 20;
  state.rate = 1;
  const std::string text = progress_text(state, 60);
  EXPECT_LE(text.size(), 60u);
  EXPECT_EQ(text.substr(0, 3), "...");
  EXPECT_NE(text.find("name.bin   50%"), std::string::npos) << text;
  EXPECT_NE(text.find("0:10 left"), std::string::npos);
}

TEST(ProgressText, FitsATinyTerminal) {
  ProgressState state;
  state.total = 100;
  EXPECT_LE(progress_text(state, 10).size(), 10u);
}

TEST(ProgressText, SaysNothingOfTheTimeLeftWhenTheSizeIsUnknown) {
  ProgressState state;
  state.done = 5;
  EXPECT_EQ(progress_text(state, 80).find("left"), std::string::npos);
}

}  // namespace
}  // namespace ftp_host
