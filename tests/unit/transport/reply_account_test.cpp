// Which requests end with something kept behind their last reply.
#include "transport/reply_account.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace ftp_plugin {
namespace {

struct AccountCase {
  const char* label;
  std::vector<std::pair<std::string, std::int64_t>> lines;  // and the bytes read when libcurl looks at each
  bool keeps;
};

class ReplyAccount : public testing::TestWithParam<AccountCase> {};

TEST_P(ReplyAccount, TellsWhatLibcurlKeeps) {
  reply_account account;
  account.take_line("226 of the request before\r\n", 100);
  account.begin();
  for (const auto& [line, read] : GetParam().lines) account.take_line(line, read);
  EXPECT_EQ(account.keeps_bytes(), GetParam().keeps);
}

// "200 a\r\n" has 7 bytes.
const AccountCase kAccountCases[] = {
    {"NothingWithoutAReply", {}, false},
    {"NothingBehindAReplyThatCameAlone", {{"200 a\r\n", 7}}, false},
    {"ASecondReplyInTheSameRead", {{"200 a\r\n", 14}}, true},
    {"HalfALine", {{"200 a\r\n", 9}}, true},
    {"NothingWhenTheSecondReplyWasLookedAt", {{"200 a\r\n", 14}, {"226 b\r\n", 21}}, false},
    {"AThirdReply", {{"200 a\r\n", 21}, {"226 b\r\n", 35}}, true},
    {"NothingWhenTheHalfLineWasCompleted", {{"200 a\r\n", 9}, {"226 b\r\n", 16}}, false},
    {"NothingBehindALongReply", {{"211-a\r\n", 21}, {" MFMT\r\n", 21}, {"211 e\r\n", 21}}, false},
    {"SomethingBehindALongReply", {{"211-a\r\n", 20}, {" MFMT\r\n", 20}, {"211 e\r\n", 23}}, true},
    {"NothingOfRepliesThatCameOneByOne", {{"200 a\r\n", 7}, {"226 b\r\n", 14}, {"226 c\r\n", 21}}, false},
    {"TheLinesOfAProxyAreCountedBehindThem",
     {{"HTTP/1.1 200 OK\r\n", 0}, {"\r\n", 17}, {"220 a\r\n", 26}, {"331 b\r\n", 33}},
     false},
};
INSTANTIATE_TEST_SUITE_P(, ReplyAccount, testing::ValuesIn(kAccountCases),
                         [](const auto& row) { return row.param.label; });

bool is_out_of_step(const std::vector<std::pair<std::string, std::int64_t>>& lines) {
  reply_account account;
  for (const auto& [line, read] : lines) account.take_line(line, read);
  return account.is_out_of_step();
}

TEST(ReplyAccountSteps, ASecondReplyToOneCommandIsNoAnswerToTheNext) {
  EXPECT_TRUE(is_out_of_step({{"350 a\r\n", 14}, {"250 b\r\n", 21}}));
  EXPECT_TRUE(is_out_of_step({{"350 a\r\n", 9}, {"250 b\r\n", 16}}))
      << "nor one of which half a line was there";
  EXPECT_FALSE(is_out_of_step({{"350 a\r\n", 7}, {"250 b\r\n", 14}}));
  EXPECT_FALSE(is_out_of_step({{"350 a\r\n", 14}})) << "as long as nothing else is asked";
}

TEST(ReplyAccountSteps, TheEndOfATransferMayComeWithItsBeginning) {
  EXPECT_FALSE(is_out_of_step({{"150 a\r\n", 14}, {"226 b\r\n", 21}}));
  EXPECT_FALSE(is_out_of_step({{"150 a\r\n", 7}, {"226 b\r\n", 21}, {"226 c\r\n", 28}}))
      << "nor does the answer to ABOR, which libcurl's own QUIT meets, decide anything";
}

}  // namespace
}  // namespace ftp_plugin
