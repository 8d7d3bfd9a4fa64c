// A server whose SFTP is badly spoken, each time in another way: the request fails in time, a listing that
// came in part never passes for a whole one, and the next request logs in anew.
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>

#include "tests/live/sftp_channel_fixture.h"
#include "tests/servers/sshd.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {
namespace {

using namespace std::chrono_literals;
using servers::Sshd;

struct OddCase {
  const char* manner;
  CURLcode listing;
  CURLcode stat;
};
void PrintTo(const OddCase& row, std::ostream* out) { *out << row.manner; }

constexpr OddCase kOddCases[] = {
    {"more names than there are", CURLE_SSH, CURLE_OK},
    {"a count of all ones", CURLE_SSH, CURLE_OK},
    {"a name longer than its packet", CURLE_SSH, CURLE_OK},
    {"a name of all ones", CURLE_SSH, CURLE_OK},
    {"a long name longer than its packet", CURLE_SSH, CURLE_OK},
    {"no attributes", CURLE_SSH, CURLE_OK},
    {"attributes that break off", CURLE_SSH, CURLE_SSH},
    {"a status that breaks off", CURLE_SSH, CURLE_SSH},
    {"an unknown kind of packet", CURLE_SSH, CURLE_SSH},
    {"an answer to another question", CURLE_OPERATION_TIMEDOUT, CURLE_OPERATION_TIMEDOUT},
    {"a packet of two gigabytes", CURLE_SSH, CURLE_SSH},
    {"an empty packet", CURLE_OUT_OF_MEMORY, CURLE_OUT_OF_MEMORY},
    {"half a packet and silence", CURLE_OPERATION_TIMEDOUT, CURLE_OPERATION_TIMEDOUT},
    {"half a packet and the end", CURLE_RECV_ERROR, CURLE_RECV_ERROR},
    {"the end", CURLE_RECV_ERROR, CURLE_RECV_ERROR},
};

const Sshd& odd_server() {
  static const Sshd running{{.sftp_program = ODD_SFTP_SERVER}};
  return running;
}

class OddSftp : public testing::TestWithParam<OddCase> {};

TEST_P(OddSftp, FailsInTimeAndIsLeft) {
  const auto& [manner, listing, stat] = GetParam();
  const server_settings settings = login_settings(odd_server());
  const std::string path = std::string{"/"} + manner;
  sftp_channel channel{settings, {.login = 10s, .silence = 1s}};
  sftp_attributes got{};
  sftp_listing body;
  EXPECT_EQ(channel.list(path, body), listing);
  EXPECT_EQ(channel.stat("/good", got), CURLE_OK);
  if (stat == CURLE_OK) return;
  EXPECT_EQ(channel.stat(path, got), stat);
  EXPECT_EQ(channel.stat("/good", got), CURLE_OK);
  EXPECT_EQ(got.filesize, 5U);
}

INSTANTIATE_TEST_SUITE_P(, OddSftp, testing::ValuesIn(kOddCases), [](const auto& row) {
  std::string name = row.param.manner;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

TEST(OddSftpListing, IsWholeWhateverTheLongNamesAre) {
  const server_settings settings = login_settings(odd_server());
  sftp_channel channel{settings};
  for (const std::string path :
       {"/long names that are missing", "/long names of another form", "/long names of other files"}) {
    SCOPED_TRACE(path);
    auto records = listed(channel, path);
    EXPECT_EQ(records.size(), 2U);
    for (const char* name : {"first", "sec;ond -> x"}) {
      EXPECT_EQ(records[name].attr, 1) << name;
      EXPECT_EQ(records[name].size, 5) << name;
      EXPECT_EQ(records[name].modify_time, time_of(1577836800)) << name;
    }
  }
  auto records = listed(channel, "/very long names");
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(records.count(std::string(120'000, 'm')), 1U);
  EXPECT_TRUE(listed(channel, "/nothing").empty());
}

TEST(OddSftpStat, WithoutAnyFieldIsARecordOfZeros) {
  const server_settings settings = login_settings(odd_server());
  sftp_channel channel{settings};
  sftp_attributes got{1, 2, 3, 4, 5, 6, 7};
  ASSERT_EQ(channel.stat("/attributes without a field", got), CURLE_OK);
  const sftp_attributes zeros{};
  EXPECT_EQ(std::memcmp(&got, &zeros, sizeof got), 0);
}

}  // namespace
}  // namespace ftp_plugin
