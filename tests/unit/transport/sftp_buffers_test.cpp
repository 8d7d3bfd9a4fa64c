#include "transport/sftp_buffers.h"

#include <gtest/gtest.h>

#include <limits>

namespace ftp_plugin {
namespace {

struct BufferCase {
  const char* label;
  long long range;
  long want;
};

constexpr BufferCase kBufferCases[] = {
    {"NothingAskedTakesTheSmallest", 0, 16 * 1024},
    {"ABackwardRangeTakesTheSmallest", -5, 16 * 1024},
    {"OneByteTakesTheSmallest", 1, 16 * 1024},
    {"SixtyFourKibAreAskedInFour", 64 * 1024, 16 * 1024},
    {"JustUnderAStepStays", 128 * 1024 - 1, 16 * 1024},
    {"AStepDoubles", 128 * 1024, 32 * 1024},
    {"OneMibIsAskedInFour", 1024 * 1024, 256 * 1024},
    {"JustUnderTheLargestStays", 2 * 1024 * 1024 - 1, 256 * 1024},
    {"TwoMibReachTheLargest", 2 * 1024 * 1024, 512 * 1024},
    {"AGreatRangeTakesTheLargest", 1LL << 40, 512 * 1024},
    {"TheGreatestRangeTakesTheLargest", std::numeric_limits<long long>::max(), 512 * 1024},
};

class DownloadBufferSize : public testing::TestWithParam<BufferCase> {};

TEST_P(DownloadBufferSize, FollowsTheRange) {
  EXPECT_EQ(download_buffer_size(GetParam().range), GetParam().want);
}

INSTANTIATE_TEST_SUITE_P(, DownloadBufferSize, testing::ValuesIn(kBufferCases),
                         [](const auto& row) { return row.param.label; });

TEST(DownloadBufferSizes, AreAnEighthToAQuarterOfTheRangeBetweenTheLimits) {
  for (long long range = 64 * 1024; range <= 2 * 1024 * 1024; range += 1021) {
    const long size = download_buffer_size(range);
    EXPECT_LE(4LL * size, range) << range;
    EXPECT_GT(8LL * size, range) << range;
  }
}

}  // namespace
}  // namespace ftp_plugin
