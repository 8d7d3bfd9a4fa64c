// Which requests end with something kept behind their last reply, and which took it for an answer.
#include "transport/ftp/reply_account.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ftp_plugin {
namespace {

struct AccountLine {
  std::string text;
  std::int64_t read;          // when libcurl looks at it
  bool at_the_front = false;  // libcurl has moved the line to the front of its buffer
};

/// Lets an account take the lines from where libcurl has them: one behind the other.
reply_account account_of(const std::vector<AccountLine>& lines) {
  std::string buffer;
  for (const AccountLine& line : lines) buffer += line.text;
  reply_account account;
  account.take_line("226 of the request before\r\n", 100);
  account.begin();
  std::string front;
  std::size_t place = 0;
  for (const AccountLine& line : lines) {
    front = line.text;
    account.take_line(line.at_the_front ? std::string_view{front}
                                        : std::string_view{buffer}.substr(place, line.text.size()),
                      line.read);
    place += line.text.size();
  }
  return account;
}

struct AccountCase {
  const char* label;
  std::vector<AccountLine> lines;
  bool keeps;
};

class ReplyAccount : public testing::TestWithParam<AccountCase> {};

TEST_P(ReplyAccount, TellsWhatLibcurlKeeps) {
  EXPECT_EQ(account_of(GetParam().lines).keeps_bytes(), GetParam().keeps);
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
    {"NothingWhenTheEmptyLineWasLookedAt", {{"200 a\r\n", 9}, {"\r\n", 11}, {"226 b\r\n", 18}}, false},
    {"NothingBehindAReplyThatWentOnAtTheFront", {{"211-a\r\n", 9}, {"211 e\r\n", 16, true}}, false},
    {"SomethingBehindAReplyThatWentOnAtTheFront", {{"211-a\r\n", 9}, {"211 e\r\n", 18, true}}, true},
    {"TheLinesOfAProxyAreCountedBehindThem",
     {{"HTTP/1.1 200 OK\r\n", 0, true}, {"\r\n", 17, true}, {"220 a\r\n", 26}, {"331 b\r\n", 33}},
     false},
};
INSTANTIATE_TEST_SUITE_P(, ReplyAccount, testing::ValuesIn(kAccountCases),
                         [](const auto& row) { return row.param.label; });

bool is_out_of_step(const std::vector<AccountLine>& lines) { return account_of(lines).is_out_of_step(); }

TEST(ReplyAccountSteps, ASecondReplyToOneCommandIsNoAnswerToTheNext) {
  EXPECT_TRUE(is_out_of_step({{"350 a\r\n", 14}, {"250 b\r\n", 21}}));
  EXPECT_TRUE(is_out_of_step({{"350 a\r\n", 9}, {"250 b\r\n", 16}}))
      << "nor one of which half a line was there";
  EXPECT_TRUE(is_out_of_step({{"350 a\r\n", 14}, {"250-b\r\n", 21}, {"250 c\r\n", 28}}))
      << "nor one of which more lines came later";
  EXPECT_TRUE(is_out_of_step({{"350 a\r\n", 16}, {"\r\n", 25}, {"250 b\r\n", 25}}))
      << "nor behind another line";
  EXPECT_FALSE(is_out_of_step({{"350 a\r\n", 7}, {"250 b\r\n", 14}}));
  EXPECT_FALSE(is_out_of_step({{"350 a\r\n", 14}})) << "as long as nothing else is asked";
}

TEST(ReplyAccountSteps, LinesWithoutACodeAnswerNothing) {
  EXPECT_FALSE(is_out_of_step({{"220 a\r\n", 9}, {"\r\n", 11}, {"331 b\r\n", 18}}));
  EXPECT_FALSE(is_out_of_step({{"220 a\r\n", 8}, {"\r\n", 10}, {"331 b\r\n", 17}}))
      << "of which a part was there";
  EXPECT_FALSE(is_out_of_step({{"220 a\r\n", 18}, {"Welcome\r\n", 29}, {"\r\n", 29}, {"331 b\r\n", 36}}));
  EXPECT_FALSE(is_out_of_step({{"220 a\r\n", 16}, {"12345 b\r\n", 25}, {"331 b\r\n", 32}}));
}

TEST(ReplyAccountSteps, AReplyThatWentOnAtTheFrontOfTheBufferIsNotKeptBehindItself) {
  // "21" was read three times over: by itself, with libcurl's copy, and with the rest of the line.
  EXPECT_FALSE(is_out_of_step({{"211-a\r\n", 7}, {"211 e\r\n", 16, true}, {"200 b\r\n", 23}}));
  EXPECT_TRUE(
      is_out_of_step({{"211-a\r\n", 9}, {"211 e\r\n", 16, true}, {"200 b\r\n", 30}, {"200 c\r\n", 37}}))
      << "and tells nothing about the replies behind it";
}

TEST(ReplyAccountSteps, TheEndOfATransferMayComeWithItsBeginning) {
  EXPECT_FALSE(is_out_of_step({{"150 a\r\n", 14}, {"226 b\r\n", 21}}));
  EXPECT_FALSE(is_out_of_step({{"150 a\r\n", 7}, {"226 b\r\n", 21}, {"226 c\r\n", 28}}))
      << "nor does the answer to ABOR, which libcurl's own QUIT meets, decide anything";
  EXPECT_TRUE(is_out_of_step({{"220-a\r\n", 31}, {"1. Rules\r\n", 31}, {"220 b\r\n", 31}, {"331 c\r\n", 38}}))
      << "which a numbered line does not begin";
}

}  // namespace
}  // namespace ftp_plugin
