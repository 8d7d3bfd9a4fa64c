#include "transport/byte_sink.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_plugin {
namespace {

std::string text_of(const byte_vector& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(ByteSink, AppendsSizeTimesCountBytesAndAnswersTheCount) {
  byte_vector bytes;
  char data[] = "abcdef";
  EXPECT_EQ(write_vector_char(data, 2, 3, &bytes), 3U);
  EXPECT_EQ(write_vector_char(data, 1, 2, &bytes), 2U);
  EXPECT_EQ(text_of(bytes), "abcdefab");
}

TEST(ByteSink, AppendsNothingWithoutBytesOrVector) {
  byte_vector bytes;
  char data[] = "abc";
  EXPECT_EQ(write_vector_char(data, 0, 3, &bytes), 3U);
  EXPECT_EQ(write_vector_char(data, 1, 0, &bytes), 0U);
  EXPECT_EQ(write_vector_char(data, 1, 3, nullptr), 3U);
  EXPECT_TRUE(bytes.empty());
}

TEST(ByteSink, NarrowsItsAnswerToThirtyTwoBits) {
  byte_vector bytes;
  char data[] = "";
  EXPECT_EQ(write_vector_char(data, 0, (std::size_t{1} << 32U) + 5, &bytes), 5U);
}

}  // namespace
}  // namespace ftp_plugin
