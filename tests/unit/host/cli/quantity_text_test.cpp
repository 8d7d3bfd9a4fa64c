#include "host/cli/quantity_text.h"

#include <gtest/gtest.h>

namespace ftp_host {
namespace {

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

}  // namespace
}  // namespace ftp_host
