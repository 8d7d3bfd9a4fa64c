#include "listing/reply_lines.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>
#include <vector>

#include "common/split.h"

namespace ftp_plugin {
namespace {

using Lines = std::vector<std::string>;

Lines lines_of(const std::string& text) {
  Lines all;
  reply_lines lines{text};
  for (std::string_view line; lines.next(line);) all.emplace_back(line);
  return all;
}

TEST(ReplyLines, ReadATextLineByLine) {
  EXPECT_EQ(lines_of("a\r\nb\r\n"), (Lines{"a", "b"}));
  EXPECT_EQ(lines_of("a\nb"), (Lines{"a", "b"}));
}

TEST(ReplyLines, AnEmptyTextHasNone) { EXPECT_EQ(lines_of(""), Lines{}); }

TEST(ReplyLines, KeepEmptyOnesButNotTheOneBehindTheLastLineFeed) {
  EXPECT_EQ(lines_of("\n"), Lines{""});
  EXPECT_EQ(lines_of("\na\n\nb\n\n"), (Lines{"", "a", "", "b", ""}));
  EXPECT_EQ(lines_of("\r\n\r\n"), (Lines{"", ""}));
}

TEST(ReplyLines, LoseOneCarriageReturnAtTheEnd) {
  EXPECT_EQ(lines_of("a\r\r\nb\r"), (Lines{"a\r", "b"}));
  EXPECT_EQ(lines_of("\ra\rb\r\n"), Lines{"\ra\rb"});
  EXPECT_EQ(lines_of("\r"), Lines{""});
}

// The lines are those that split makes at "\n".
TEST(ReplyLines, AreThePiecesOfSplit) {
  std::minstd_rand random{7};
  const std::string letters = "a\n\r ";
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (auto length = random() % 12; length > 0; --length) text += letters[random() % letters.size()];
    Lines want = split(text, std::regex{"\n"});
    for (std::string& line : want) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
    }
    ASSERT_EQ(lines_of(text), want) << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace ftp_plugin
