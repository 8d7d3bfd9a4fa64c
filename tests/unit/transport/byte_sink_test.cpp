#include "transport/byte_sink.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/transport/recording_log.h"

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

TEST(ByteSink, RefusesWhatNoMemoryCanHold) {
  byte_vector bytes;
  bytes.append("kept");
  char data[] = "abc";
  const testing_tools::recording_log log;
  EXPECT_EQ(write_vector_char(data, 1, static_cast<std::size_t>(-1), &bytes), 0U);
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(text_of(bytes), "kept");
}

TEST(ByteVector, KeepsItsBytesWhileItGrows) {
  byte_vector bytes;
  std::string want;
  for (std::size_t length = 0; length < 3000; ++length) {
    const std::string piece(length, static_cast<char>('a' + length % 26));
    bytes.append(piece);
    want += piece;
  }
  EXPECT_EQ(text_of(bytes), want);
  EXPECT_EQ(bytes.size(), want.size());
}

TEST(ByteVector, GivesItsBytesAwayAsText) {
  byte_vector bytes;
  bytes.append("ab");
  bytes.push_back('c');
  const malloc_block text = bytes.release_text();
  EXPECT_STREQ(text.get(), "abc");
  EXPECT_TRUE(bytes.empty());
  bytes.append("next");
  EXPECT_EQ(text_of(bytes), "next");
}

TEST(ByteVector, GivesNoTextAwayWithoutBytes) {
  byte_vector bytes;
  EXPECT_EQ(bytes.release_text(), nullptr);
}

}  // namespace
}  // namespace ftp_plugin
