#include "listing/basic_line.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/unit/listing/utc.h"

namespace ftp_plugin {
namespace {

const list_clock kClock = list_clock_at(utc(2024, 6, 15, 12));

struct BasicCase {
  const char* label;
  const char* line;
  bool sftp;
  std::uint32_t attr;
  std::int64_t size;
  const char* time;
  const char* name;
};
void PrintTo(const BasicCase& row, std::ostream* out) { *out << '"' << row.line << '"'; }

class BasicLine : public testing::TestWithParam<BasicCase> {};

TEST_P(BasicLine, FillsTheRecord) {
  const BasicCase& want = GetParam();
  basic_line_context context;
  context.path = "/dir";
  context.is_sftp = want.sftp;
  context.clock = &kClock;
  _FS_FILE_V2 got;
  EXPECT_TRUE(parse_basic_line(want.line, context, got));
  EXPECT_EQ(got.attr, want.attr);
  EXPECT_EQ(got.size, want.size);
  EXPECT_EQ(got.create_time, want.time);
  EXPECT_EQ(got.access_time, want.time);
  EXPECT_EQ(got.modify_time, want.time);
  EXPECT_EQ(got.name, want.name);
  EXPECT_EQ(got.id, "");
}
auto label(const testing::TestParamInfo<BasicCase>& row) { return std::string{row.param.label}; }

constexpr const char* kMarch = "2019-03-10T00:00:00.000Z";
constexpr BasicCase kFtp[] = {
    {"File", "-rw-r--r-- 1 o g 5 Jan  5 12:34 a b.txt", false, 1, 5, "2024-01-05T12:34:00.000Z", "a b.txt"},
    {"Directory", "drwxr-xr-x 2 o g 4096 Mar 10  2019 dir", false, 2, 4096, kMarch, "dir"},
    {"LinksAreDirectories", "lrwxrwxrwx 1 o g 7 Mar 10 2019 link -> target", false, 2, 7, kMarch, "link"},
    {"DevicesAreFiles", "crw-rw-rw- 1 root root 1, 3 Mar 10 2019 null", false, 1, 3, kMarch, "null"},
    {"SemicolonsStayInTheName", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;1577836800", false, 1, 5, kMarch,
     "a;1577836800"},
    {"DosDirectory", "12-31-99  11:59PM       <DIR>          Folder", false, 2, 0, "1999-12-31T23:59:00.000Z",
     "Folder"},
    {"VmsDirectory", "FILE.DIR;1  1 1-JAN-2020 10:00 [x] (RWED)", false, 2, 0, "2020-01-01T10:00:00.000Z",
     "FILE"},
    {"EplfFile", "+i4471.20077,m1262304000,r,s512,\treport.txt", false, 1, 512, "2010-01-01T00:00:00.000Z",
     "report.txt"},
    {"EplfThatMayBeBothIsADirectory", "+r,/,\tboth", false, 2, 0, "1970-01-01T00:00:00.000Z", "both"},
    {"NoTimeIsTheEpoch", "+r,s3,\tn", false, 1, 3, "1970-01-01T00:00:00.000Z", "n"},
};
INSTANTIATE_TEST_SUITE_P(Ftp, BasicLine, testing::ValuesIn(kFtp), label);

constexpr BasicCase kSftp[] = {
    {"TheTimeBehindTheNameReplacesTheListedOne", "-rw-r--r-- 1 o g 5 Mar 10 2019 file.txt;1577836800", true,
     1, 5, "2020-01-01T00:00:00.000Z", "file.txt"},
    {"TheLastSemicolonCounts", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;b;1577836800", true, 1, 5,
     "2020-01-01T00:00:00.000Z", "a;b"},
    {"NoSemicolonKeepsTheListedTime", "-rw-r--r-- 1 o g 5 Mar 10 2019 file.txt", true, 1, 5, kMarch,
     "file.txt"},
    {"ATextThatIsNoNumberIsTheEpoch", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;b", true, 1, 5,
     "1970-01-01T00:00:00.000Z", "a"},
    {"NothingBehindTheSemicolonIsTheEpoch", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;", true, 1, 5,
     "1970-01-01T00:00:00.000Z", "a"},
    {"TimesBeforeTheEpoch", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;-1", true, 1, 5, "1969-12-31T23:59:59.000Z",
     "a"},
    {"Directory", "drwxr-xr-x 2 o g 4096 Mar 10  2019 dir;1577836800", true, 2, 4096,
     "2020-01-01T00:00:00.000Z", "dir"},
    {"ALinkWithoutAnyoneToFollowItHasNoAttribute", "lrwxrwxrwx 1 o g 7 Mar 10 2019 link -> target", true, 0,
     7, kMarch, "link"},
};
INSTANTIATE_TEST_SUITE_P(Sftp, BasicLine, testing::ValuesIn(kSftp), label);

constexpr BasicCase kNarrowed[] = {
    {"TheLastSecondOf32Bits", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;2147483647", true, 1, 5,
     "2038-01-19T03:14:07.000Z", "a"},
    {"TheFirstSecondBeyond", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;2147483648", true, 1, 5,
     "1901-12-13T20:45:52.000Z", "a"},
    {"AListedYearBeyond", "-rw-r--r-- 1 o g 5 Jan 20 2038 a", false, 1, 5, "1901-12-14T17:31:44.000Z", "a"},
    {"AListedYearBeforeTheRange", "-rw-r--r-- 1 o g 5 Jan  1 1900 a", false, 1, 5, "2036-02-07T06:28:16.000Z",
     "a"},
    {"ALongNumberKeepsItsLowBits", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;99999999999", true, 1, 5,
     "2008-07-11T04:56:31.000Z", "a"},
};
INSTANTIATE_TEST_SUITE_P(Narrowed, BasicLine, testing::ValuesIn(kNarrowed), label);

TEST(BasicLineRejection, LeavesTheRecordAlone) {
  for (const char* line :
       {"", "x", "total 42", "A.B;1 1 1-FOO-2020 10:00 x", "-rw-r--r-- 1 o g 5 Mar 10 2019"}) {
    _FS_FILE_V2 got;
    got.name = "before";
    got.size = 7;
    EXPECT_FALSE(parse_basic_line(line, {}, got)) << line;
    EXPECT_EQ(got.name, "before") << line;
    EXPECT_EQ(got.size, 7) << line;
    EXPECT_EQ(got.modify_time, "") << line;
  }
}

struct LinkCase {
  const char* label;
  const char* path;
  std::uint32_t target_attr;
  const char* asked;
  std::int64_t size;
};
class SftpLink : public testing::TestWithParam<LinkCase> {};
TEST_P(SftpLink, IsWhatItPointsTo) {
  const LinkCase& want = GetParam();
  std::vector<std::string> asked;
  const std::function<void(const std::string&, _FS_FILE_V2&)> follow = [&](const std::string& full_path,
                                                                           _FS_FILE_V2& target) {
    EXPECT_EQ(target.attr, 0U);
    asked.push_back(full_path);
    target.attr = want.target_attr;
    target.size = 99;
    target.name = "not taken";
    target.modify_time = "not taken";
  };
  basic_line_context context;
  context.path = want.path;
  context.is_sftp = true;
  context.follow_link = &follow;
  _FS_FILE_V2 got;
  EXPECT_TRUE(parse_basic_line("lrwxrwxrwx 1 o g 7 Mar 10 2019 link;1577836800 -> target;5", context, got));
  EXPECT_EQ(asked, std::vector<std::string>{want.asked});
  EXPECT_EQ(got.attr, want.target_attr);
  EXPECT_EQ(got.size, want.size);
  EXPECT_EQ(got.name, "link");
  EXPECT_EQ(got.modify_time, "2020-01-01T00:00:00.000Z");
}
constexpr LinkCase kLinks[] = {
    {"AFileKeepsTheListedSize", "/dir", FS_ATTR_FILE, "/dir/link", 7},
    {"ADirectoryTakesTheTargetsSize", "/dir", FS_ATTR_DIRECTORY, "/dir/link", 99},
    {"ATargetThatIsGoneHasNoAttribute", "/dir", 0, "/dir/link", 7},
    {"WithoutAPathTheNameIsAtTheTop", nullptr, FS_ATTR_FILE, "/link", 7},
    {"WithAnEmptyPathTheNameIsAtTheTop", "", FS_ATTR_FILE, "/link", 7},
    {"ThePathIsUsedAsItIs", "/", FS_ATTR_FILE, "//link", 7},
};
INSTANTIATE_TEST_SUITE_P(Targets, SftpLink, testing::ValuesIn(kLinks),
                         [](const auto& row) { return std::string{row.param.label}; });

TEST(FtpLink, IsNeverFollowed) {
  bool asked = false;
  const std::function<void(const std::string&, _FS_FILE_V2&)> follow = [&](const std::string&, _FS_FILE_V2&) {
    asked = true;
  };
  basic_line_context context;
  context.follow_link = &follow;
  _FS_FILE_V2 got;
  EXPECT_TRUE(parse_basic_line("lrwxrwxrwx 1 o g 7 Mar 10 2019 link -> target", context, got));
  EXPECT_FALSE(asked);
  EXPECT_EQ(got.attr, FS_ATTR_DIRECTORY);
}

}  // namespace
}  // namespace ftp_plugin
