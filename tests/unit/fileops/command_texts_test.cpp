#include "fileops/command_texts.h"

#include <gtest/gtest.h>

namespace ftp_plugin {
namespace {

using commands = std::vector<std::string>;

TEST(CommandTexts, FtpTakesBarePathsAndSftpQuotedOnes) {
  EXPECT_EQ(make_directory_command("a b/c", false), "MKD a b/c");
  EXPECT_EQ(make_directory_command("/a b/c", true), "mkdir \"/a b/c\"");
  EXPECT_EQ(delete_command("a b", false, false), "DELE a b");
  EXPECT_EQ(delete_command("a b", false, true), "RMD a b");
  EXPECT_EQ(delete_command("/a b", true, false), "rm \"/a b\"");
  EXPECT_EQ(delete_command("/a b", true, true), "rmdir \"/a b\"");
}

TEST(CommandTexts, RenameIsTwoCommandsOnFtpAndOneOnSftp) {
  EXPECT_EQ(rename_commands("a", "b c", false), (commands{"RNFR a", "RNTO b c"}));
  EXPECT_EQ(rename_commands("/a", "/b c", true), (commands{"rename \"/a\" \"/b c\""}));
}

TEST(CommandTexts, APercentSignInAPathIsNoFormat) {
  EXPECT_EQ(make_directory_command("100%s", false), "MKD 100%s");
  EXPECT_EQ(set_time_command("%d", "2024-03-05T07:08:09Z"), "MFMT 20240305070809 %d");
}

struct TimeCase {
  const char* label;
  const char* time;
  const char* command;
};

constexpr TimeCase kTimeCases[] = {
    {"AsWritten", "2024-03-05T07:08:09Z", "MFMT 20240305070809 d/f"},
    {"FractionAndOffsetAreDropped", "2024-03-05T07:08:09.123+02:00", "MFMT 20240305070809 d/f"},
    {"MissingNumbersAreZero", "2024-03-05", "MFMT 20240305000000 d/f"},
    {"AnEmptyTimeIsAllZero", "", "MFMT 00000000000000 d/f"},
    {"NoTimeAtAll", "yesterday", "MFMT 00000000000000 d/f"},
    {"NumbersAreSixteenBitsWide", "65535-01-01T00:00:00Z", "MFMT 655350101000000 d/f"},
};

class SetTimeCommand : public testing::TestWithParam<TimeCase> {};

TEST_P(SetTimeCommand, SendsTheClockTime) {
  EXPECT_EQ(set_time_command("d/f", GetParam().time), GetParam().command);
}

INSTANTIATE_TEST_SUITE_P(, SetTimeCommand, testing::ValuesIn(kTimeCases),
                         [](const auto& row) { return row.param.label; });

struct CheckCase {
  const char* label;
  const char* text;
  CURLcode ftp;
  CURLcode sftp;
};

constexpr CheckCase kCheckCases[] = {
    {"Plain", "a/b c;d -> [e]", CURLE_OK, CURLE_OK},
    {"Empty", "", CURLE_OK, CURLE_OK},
    {"LineFeed", "a\nDELE b", CURLE_URL_MALFORMAT, CURLE_URL_MALFORMAT},
    {"CarriageReturn", "a\rDELE b", CURLE_URL_MALFORMAT, CURLE_URL_MALFORMAT},
    {"DoubleQuote", "a\" \"b", CURLE_OK, CURLE_QUOTE_ERROR},
    {"Backslash", "a\\\\b", CURLE_OK, CURLE_QUOTE_ERROR},
    {"LineFeedBeforeQuote", "a\n\"", CURLE_URL_MALFORMAT, CURLE_URL_MALFORMAT},
};

class CommandText : public testing::TestWithParam<CheckCase> {};

TEST_P(CommandText, IsCheckedBeforeItIsSent) {
  EXPECT_EQ(check_command_text(GetParam().text, false), GetParam().ftp);
  EXPECT_EQ(check_command_text(GetParam().text, true), GetParam().sftp);
}

INSTANTIATE_TEST_SUITE_P(, CommandText, testing::ValuesIn(kCheckCases),
                         [](const auto& row) { return row.param.label; });

}  // namespace
}  // namespace ftp_plugin
