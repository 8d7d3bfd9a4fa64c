#include "transport/sftp/sftp_attributes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>

namespace ftp_plugin {
namespace {

bool operator==(const sftp_attributes& a, const sftp_attributes& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

constexpr sftp_attributes kRecord{0xF, 1234, 1000, 1001, 0100644, 111, 222};

TEST(SftpAttributes, HasSevenWideFieldsInTheOrderOfTheServersRecord) {
  EXPECT_EQ(offsetof(sftp_attributes, flags), 0U);
  EXPECT_EQ(offsetof(sftp_attributes, filesize), 8U);
  EXPECT_EQ(offsetof(sftp_attributes, uid), 16U);
  EXPECT_EQ(offsetof(sftp_attributes, gid), 24U);
  EXPECT_EQ(offsetof(sftp_attributes, permissions), 32U);
  EXPECT_EQ(offsetof(sftp_attributes, atime), 40U);
  EXPECT_EQ(offsetof(sftp_attributes, mtime), 48U);
}

TEST(WriteAttrs, CopiesTheRecordWholeAndAnswersTheCount) {
  for (const auto& [size, count] :
       {std::pair<std::size_t, std::size_t>{1, sizeof kRecord}, {sizeof kRecord, 1}, {8, 7}}) {
    sftp_attributes source = kRecord;
    sftp_attributes got{};
    EXPECT_EQ(write_attrs(&source, size, count, &got), count);
    EXPECT_TRUE(got == kRecord);
  }
}

TEST(WriteAttrs, CopiesNothingForAnEmptyPieceYetAnswersTheCount) {
  sftp_attributes source = kRecord;
  sftp_attributes got{};
  EXPECT_EQ(write_attrs(&source, 0, 7, &got), 7U);
  EXPECT_EQ(write_attrs(&source, 8, 0, &got), 0U);
  EXPECT_TRUE(got == sftp_attributes{});
}

TEST(WriteAttrs, CopiesNothingWithoutATargetYetAnswersTheCount) {
  sftp_attributes source = kRecord;
  EXPECT_EQ(write_attrs(&source, 1, sizeof source, nullptr), sizeof source);
}

TEST(WriteAttrs, ReadsNothingBehindAReplyThatIsShorterThanARecord) {
  std::array<char, 3> reply{'a', 'b', 'c'};
  sftp_attributes got = kRecord;
  EXPECT_EQ(write_attrs(reply.data(), 1, reply.size(), &got), reply.size());
  EXPECT_TRUE(got == kRecord);
}

}  // namespace
}  // namespace ftp_plugin
