#include "listing/vxworks_line.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace ftp_plugin {
namespace {

using namespace std::string_view_literals;

struct VxworksCase {
  const char* label;
  std::string_view line;
  bool complete;
  std::uint32_t attr;
  std::int64_t size;
  const char* time;
  const char* name;
};
void PrintTo(const VxworksCase& row, std::ostream* out) { *out << '"' << row.line << '"'; }

class VxworksLine : public testing::TestWithParam<VxworksCase> {};

TEST_P(VxworksLine, FillsTheRecord) {
  const VxworksCase& want = GetParam();
  const std::vector<char> bytes(want.line.begin(), want.line.end());
  _FS_FILE_V2 got;
  EXPECT_EQ(parse_vxworks_line({bytes.data(), bytes.size()}, got), want.complete);
  EXPECT_EQ(got.attr, want.attr);
  EXPECT_EQ(got.size, want.size);
  EXPECT_EQ(got.create_time, want.time);
  EXPECT_EQ(got.access_time, want.time);
  EXPECT_EQ(got.modify_time, want.time);
  EXPECT_EQ(got.name, want.name);
  EXPECT_EQ(got.id, "");
}

constexpr const char* kTime = "2020-01-05T12:34:56.000Z";
constexpr const char* kUnread = "1900-01-00T00:00:00.000Z";
constexpr VxworksCase kLines[] = {
    {"File", "   1234    Jan-05-2020 12:34:56   name", true, 1, 1234, kTime, "name"},
    {"Directory", "   512    Jan-05-2020 12:34:56   sub   <DIR>", true, 2, 512, kTime, "sub"},
    {"NameKeepsItsInnerBlanks", "1 Jan-05-2020 12:34:56 a  b", true, 1, 1, kTime, "a  b"},
    {"NameLosesOuterWhiteSpace", "1 Jan-05-2020 12:34:56 \t a \v\f\r", true, 1, 1, kTime, "a"},
    {"TheMarkNeedsNoBlankBeforeIt", "0 Jan-05-2020 12:34:56 sub<DIR>", true, 2, 0, kTime, "sub"},
    {"OnlyTheLastMarkIsRemoved", "0 Jan-05-2020 12:34:56 a<DIR> <DIR>", true, 2, 0, kTime, "a<DIR>"},
    {"TheMarkAloneLeavesNoName", "0 Jan-05-2020 12:34:56 <DIR>", true, 2, 0, kTime, ""},
    {"TheMarkDoesNotFold", "0 Jan-05-2020 12:34:56 a <dir>", true, 1, 0, kTime, "a <dir>"},
    {"TheMarkInTheMiddleIsPartOfTheName", "0 Jan-05-2020 12:34:56 a <DIR> b", true, 1, 0, kTime, "a <DIR> b"},
    {"WhiteSpaceBehindTheMark", "0 Jan-05-2020 12:34:56 a <DIR>\t ", true, 2, 0, kTime, "a"},
    {"WhatStandsBeforeTheFirstDigitIsSkipped", "-x y12 Jan-05-2020 12:34:56 a", true, 1, 12, kTime, "a"},
    {"ASizeIsReadAsFarAsItIsANumber", "12k Jan-05-2020 12:34:56 a", true, 1, 12, kTime, "a"},
    {"ASizeEndsAtTheGreatest", "99999999999999999999 Jan-05-2020 12:34:56 a", true, 1, 9223372036854775807,
     kTime, "a"},
    {"MonthsFold", "1 jan-05-2020 12:34:56 a", true, 1, 1, kTime, "a"},
    {"MonthsMayBeWrittenOut", "1 January-05-2020 12:34:56 a", true, 1, 1, kTime, "a"},
    {"DaysMayHaveOneDigit", "1 Jan-5-2020 1:2:3 a", true, 1, 1, "2020-01-05T01:02:03.000Z", "a"},
    {"ADateThatIsNoneLeavesZeroes", "1 2020-01-05 12:34:56 a", true, 1, 1, kUnread, "a"},
    {"ATimeWithoutSecondsKeepsWhatWasRead", "1 Jan-05-2020 12:34 a", true, 1, 1, "2020-01-05T12:34:00.000Z",
     "a"},
    {"ATimeThatIsNoneKeepsTheDate", "1 Jan-05-2020 noon a", true, 1, 1, "2020-01-05T00:00:00.000Z", "a"},
    {"EmptyLine", "", false, 0, 0, "", ""},
    {"ColumnHeader", "  size          date       time       name", false, 0, 0, "", ""},
    {"RuleUnderTheHeader", "--------       ------     ------    --------", false, 0, 0, "", ""},
    {"EndsInTheSize", "   1234", false, 0, 1234, "", ""},
    {"EndsBehindTheSize", "1234   ", false, 0, 1234, "", ""},
    {"EndsInTheDate", "1234 Jan-05-2020", false, 0, 1234, "", ""},
    {"EndsBehindTheDate", "1234 Jan-05-2020  ", false, 0, 1234, "", ""},
    {"EndsInTheTime", "1234 Jan-05-2020 12:34:56", false, 0, 1234, kTime, ""},
    {"EndsBehindTheTime", "1234 Jan-05-2020 12:34:56  ", false, 0, 1234, kTime, ""},
    {"TabsDoNotSeparate", "1\tJan-05-2020 12:34:56 a b", true, 1, 1, kUnread, "b"},
    {"EndsAtTheFirstNul", "1 Jan-05-2020 12:34:56 a\0b"sv, true, 1, 1, kTime, "a"},
    {"EndsAtANulBeforeTheName", "1 Jan-05-2020\0 12:34:56 a"sv, false, 0, 1, "", ""},
};
INSTANTIATE_TEST_SUITE_P(Columns, VxworksLine, testing::ValuesIn(kLines),
                         [](const auto& row) { return std::string{row.param.label}; });

TEST(VxworksLineBuffers, CutANameAt2047Bytes) {
  const std::string longest(2047, 'n');
  _FS_FILE_V2 got;
  EXPECT_TRUE(parse_vxworks_line("1 Jan-05-2020 12:34:56 " + longest, got));
  EXPECT_EQ(got.name, longest);
  EXPECT_TRUE(parse_vxworks_line("1 Jan-05-2020 12:34:56 " + longest + "more <DIR>", got));
  EXPECT_EQ(got.name, longest);
  EXPECT_EQ(got.attr, FS_ATTR_FILE);  // the mark was cut off with the rest
}

TEST(VxworksLineBuffers, CutASizeAt2047Digits) {
  _FS_FILE_V2 got;
  EXPECT_TRUE(parse_vxworks_line(std::string(2046, '0') + "78 Jan-05-2020 12:34:56 a", got));
  EXPECT_EQ(got.size, 7);
  EXPECT_EQ(got.name, "a");  // the next column begins behind the whole word
}

TEST(VxworksLineBuffers, CutDateAndTimeAt127Bytes) {
  _FS_FILE_V2 got;
  const std::string zeroes(200, '0');
  EXPECT_TRUE(parse_vxworks_line("1 Jan-05-2020 12:34:56" + zeroes + " a", got));
  EXPECT_EQ(got.modify_time, kTime);
  EXPECT_EQ(got.name, "a");
  EXPECT_TRUE(parse_vxworks_line("1 " + zeroes + " 12:34:56 b", got));
  EXPECT_EQ(got.modify_time, kUnread);
  EXPECT_EQ(got.name, "b");
}

struct HeaderCase {
  const char* label;
  std::string_view line;
  bool want;
};
class IsVxworksServer : public testing::TestWithParam<HeaderCase> {};
TEST_P(IsVxworksServer, KnowsTheColumnHeader) {
  const HeaderCase& want = GetParam();
  EXPECT_EQ(is_vxworks_server(want.line), want.want) << want.line;
}
// Lines with a word that is not due are in header_scan/: on them the call may never return.
constexpr HeaderCase kHeaders[] = {
    {"TheFourWords", "  size  date   time   name", true},
    {"WithoutBlanks", "sizedatetimename", true},
    {"WhatFollowsIsNotLookedAt", "size date time name of 42 things", true},
    {"NameMayGoOn", "size date time names", true},
    {"AnotherWordWithTheLetterThatIsDue", "size data", false},
    {"AnotherFirstWord", "some text", false},
    {"AnotherThirdWord", "size date then", false},
    {"AnotherLastWord", "size date time none", false},
    {"CapitalsInsideTheWord", "sIZE date time name", false},
    {"EmptyLine", "", false},
    {"Blanks", "   ", false},
    {"EndsBehindTheFirstWord", "size", false},
    {"EndsBehindTheSecondWord", "size date ", false},
    {"EndsBehindTheThirdWord", "size date time", false},
    {"EndsInsideTheFirstWord", "siz", false},
    {"EndsInsideTheLastWord", "size date time nam", false},
    {"EndsAtTheFirstNul", "size date time\0name"sv, false},
};
INSTANTIATE_TEST_SUITE_P(Headers, IsVxworksServer, testing::ValuesIn(kHeaders),
                         [](const auto& row) { return std::string{row.param.label}; });

}  // namespace
}  // namespace ftp_plugin
