#include "transport/ftp/ftp_buffers.h"

#include <gtest/gtest.h>

#include <limits>

namespace ftp_plugin {
namespace {

TEST(FtpDownloadBufferSize, LetsAHundredFillsTakeAboutASecond) {
  EXPECT_EQ(ftp_download_buffer_size(0), 16 * 1024);
  EXPECT_EQ(ftp_download_buffer_size(-1), 16 * 1024);
  EXPECT_EQ(ftp_download_buffer_size(1), 1024);
  EXPECT_EQ(ftp_download_buffer_size(400'000), 4'000);
  EXPECT_EQ(ftp_download_buffer_size(std::numeric_limits<long long>::max()), 16 * 1024);
}

}  // namespace
}  // namespace ftp_plugin
