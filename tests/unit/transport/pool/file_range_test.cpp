#include "transport/pool/file_range.h"

#include <gtest/gtest.h>

namespace ftp_plugin {
namespace {

TEST(RangeText, HoldsTheFirstAndTheLastByte) {
  EXPECT_EQ(range_text({"", 0, 1, 0}), "0-0");
  EXPECT_EQ(range_text({"", 5, 10, 0}), "5-14");
  EXPECT_EQ(range_text({"", 6'000'000'000, 2, 0}), "6000000000-6000000001");
}

}  // namespace
}  // namespace ftp_plugin
