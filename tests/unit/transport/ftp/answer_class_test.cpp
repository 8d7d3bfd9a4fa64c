// Which answers count as none of the command they follow.
#include "transport/ftp/answer_class.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

namespace ftp_plugin {
namespace {

bool is_wrong(std::string_view command, std::initializer_list<std::string_view> lines) {
  answer_class answer;
  answer.begin();
  answer.take_command(command);
  for (const std::string_view line : lines) answer.take_line(line);
  return answer.is_wrong();
}

TEST(AnswerClass, TheCodeOfTheLastLineDecides) {
  EXPECT_FALSE(is_wrong("DELE a\r\n", {"250 Gone.\r\n"}));
  EXPECT_TRUE(is_wrong("DELE a\r\n", {"250-Gone\r\n", "350 for\r\n"}));
  EXPECT_FALSE(is_wrong("DELE a\r\n", {"350-Gone\r\n", " 350 for\r\n", "250 ever.\r\n"}));
  EXPECT_TRUE(is_wrong("DELE a\r\n", {"350 Sure?\r\n"}));
}

TEST(AnswerClass, ARefusalIsLeftToLibcurl) {
  EXPECT_FALSE(is_wrong("MKD a\r\n", {"550 No.\r\n"}));
  EXPECT_FALSE(is_wrong("RNFR a\r\n", {"450 Not now.\r\n"}));
  EXPECT_FALSE(is_wrong("RNTO a\r\n", {"999 Never.\r\n"}));
}

TEST(AnswerClass, OnlyTheFirstHalfOfARenamingWantsMore) {
  EXPECT_FALSE(is_wrong("RNFR a\r\n", {"350 To what?\r\n"}));
  EXPECT_TRUE(is_wrong("RNFR a\r\n", {"250 Done.\r\n"}));
  EXPECT_TRUE(is_wrong("RNTO a\r\n", {"350 To what?\r\n"}));
}

TEST(AnswerClass, AListingOfFactsIsNotEmptyBecauseTheServerIsBusy) {
  EXPECT_TRUE(is_wrong("MLSD a\r\n", {"450 Busy.\r\n"}));
  EXPECT_TRUE(is_wrong("MLSD\r\n", {"450-Busy\r\n", "450 for a while.\r\n"}));
  EXPECT_FALSE(is_wrong("MLSD a\r\n", {"150 Here.\r\n", "450 Broken off.\r\n"}));
  EXPECT_FALSE(is_wrong("MLSD a\r\n", {"550 No.\r\n"}));
  EXPECT_FALSE(is_wrong("LIST\r\n", {"450 No files.\r\n"}));
}

TEST(AnswerClass, OtherCommandsAreNotJudged) {
  EXPECT_FALSE(is_wrong("USER a\r\n", {"331 And?\r\n"}));
  EXPECT_FALSE(is_wrong("RETR a\r\n", {"150 Here.\r\n", "226 Done.\r\n"}));
  EXPECT_FALSE(is_wrong("DELETE a\r\n", {"350 Sure?\r\n"}));
}

TEST(AnswerClass, EndsWithTheRequest) {
  answer_class answer;
  answer.take_command("DELE a\r\n");
  answer.take_line("350 Sure?\r\n");
  answer.begin();
  EXPECT_FALSE(answer.is_wrong());
}

}  // namespace
}  // namespace ftp_plugin
