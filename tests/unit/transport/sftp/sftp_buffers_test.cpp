#include "transport/sftp/sftp_buffers.h"

#include <gtest/gtest.h>

#include <limits>

namespace ftp_plugin {
namespace {

struct BufferCase {
  const char* label;
  long long range;
  long want;
  long long speed_limit = 0;
};

constexpr BufferCase kBufferCases[] = {
    {"NothingAskedTakesTheSmallest", 0, 8 * 1024},
    {"ABackwardRangeTakesTheSmallest", -5, 8 * 1024},
    {"OneByteTakesTheSmallest", 1, 8 * 1024},
    {"SixtyFourKibTakeTheSmallest", 64 * 1024, 8 * 1024},
    {"FromElevenTimesTheSmallestOnItGrows", 11 * (8 * 1024 + 1), 8 * 1024 + 1},
    {"OneMib", 1024 * 1024, 95325},
    {"JustUnderTheLargest", 11LL * 512 * 1024 - 1, 512 * 1024 - 1},
    {"TheLargest", 11LL * 512 * 1024, 512 * 1024},
    {"AGreatRangeTakesTheLargest", 1LL << 40, 512 * 1024},
    {"TheGreatestRangeTakesTheLargest", std::numeric_limits<long long>::max(), 512 * 1024},
    {"AHundredBuffersAreFourSecondsWorthOfASpeedLimit", 1LL << 40, 4'000, 100'000},
    {"ASpeedLimitDoesNotEnlarge", 64 * 1024, 8 * 1024, 1'000'000'000},
    {"ALowSpeedLimitTakesTheLeast", 1LL << 40, 1024, 1},
    {"ANegativeSpeedLimitIsNone", 1LL << 40, 512 * 1024, -1},
};

class DownloadBufferSize : public testing::TestWithParam<BufferCase> {};

TEST_P(DownloadBufferSize, FollowsTheRange) {
  EXPECT_EQ(download_buffer_size(GetParam().range, GetParam().speed_limit), GetParam().want);
}

INSTANTIATE_TEST_SUITE_P(, DownloadBufferSize, testing::ValuesIn(kBufferCases),
                         [](const auto& row) { return row.param.label; });

TEST(UploadBufferSize, IsASecondsWorthWithinWhatLibcurlTakes) {
  EXPECT_EQ(upload_buffer_size(0), 2 * 1024 * 1024);
  EXPECT_EQ(upload_buffer_size(-1), 2 * 1024 * 1024);
  EXPECT_EQ(upload_buffer_size(1), 64 * 1024);
  EXPECT_EQ(upload_buffer_size(100'000), 100'000);
  EXPECT_EQ(upload_buffer_size(std::numeric_limits<long long>::max()), 2 * 1024 * 1024);
}

}  // namespace
}  // namespace ftp_plugin
