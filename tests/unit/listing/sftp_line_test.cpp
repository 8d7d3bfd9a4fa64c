#include "listing/sftp_line.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_plugin {
namespace {

constexpr std::uint64_t kAll = kSftpHasSize | kSftpHasOwner | kSftpHasPermissions | kSftpHasTimes;
constexpr std::uint64_t kTime = 1577836800;  // 2020-01-01T00:00:00Z

constexpr sftp_attributes regular(std::uint64_t size, std::uint64_t mtime = kTime) {
  return {kAll, size, 1000, 1001, 0100644, mtime, mtime};
}
constexpr sftp_attributes directory() { return {kAll, 4096, 0, 0, 0040755, kTime, kTime}; }
constexpr sftp_attributes link(std::uint64_t size) { return {kAll, size, 0, 0, 0120777, kTime, kTime}; }
constexpr sftp_attributes untold(std::uint64_t flags = 0) { return {flags, 0, 0, 0, 0, 0, 0}; }

std::string line_of(const sftp_entry& entry) {
  byte_vector listing;
  append_listing_line(listing, entry);
  return {listing.begin(), listing.end()};
}

struct LineCase {
  const char* label;
  sftp_entry entry;
  const char* want;
};

const LineCase kLineCases[] = {
    // The server's own line is kept, the time goes behind the name.
    {"OpenSshFile",
     {"a b.txt", "-rw-r--r--    1 1000     1001         1234 Jan  1  2020 a b.txt", regular(1234)},
     "-rw-r--r--    1 1000     1001         1234 Jan  1  2020 a b.txt;1577836800\n"},
    {"OpenSshDirectory",
     {"dir", "drwxr-xr-x    2 0        0            4096 Mar 10 12:34 dir", directory()},
     "drwxr-xr-x    2 0        0            4096 Mar 10 12:34 dir;1577836800\n"},
    {"LinkWithoutTarget",
     {"l", "lrwxrwxrwx    1 0        0               6 Jan  1  2020 l", link(6)},
     "lrwxrwxrwx    1 0        0               6 Jan  1  2020 l;1577836800\n"},
    {"TimeOfALinkGoesInFrontOfTheTarget",
     {"l", "lrwxrwxrwx    1 0        0               6 Jan  1  2020 l -> target", link(6)},
     "lrwxrwxrwx    1 0        0               6 Jan  1  2020 l;1577836800 -> target\n"},
    {"SemicolonsInTheNameStay",
     {"a;1;b", "-rw-r--r-- 1 o g 5 Jan  1  2020 a;1;b", regular(5)},
     "-rw-r--r-- 1 o g 5 Jan  1  2020 a;1;b;1577836800\n"},
    {"LeadingAndTrailingBlanksStay",
     {"  a  ", "-rw-r--r-- 1 o g 5 Jan  1  2020   a  ", regular(5)},
     "-rw-r--r-- 1 o g 5 Jan  1  2020   a  ;1577836800\n"},
    {"AnArrowInTheNameOfAFileStays",
     {"a -> b", "-rw-r--r-- 1 o g 5 Jan  1  2020 a -> b", regular(5)},
     "-rw-r--r-- 1 o g 5 Jan  1  2020 a -> b;1577836800\n"},
    {"GroupOfSeveralWords",
     {"f", "-rw-r--r-- 1 tom domain users 5 Jan  1  2020 f", regular(5)},
     "-rw-r--r-- 1 tom domain users 5 Jan  1  2020 f;1577836800\n"},
    {"NoLinkCount",
     {"f", "drwxr-xr-x folder 4096 Jan  1  2020 f", directory()},
     "drwxr-xr-x folder 4096 Jan  1  2020 f;1577836800\n"},
    {"CarriageReturnAtTheEndOfANameStays",
     {"f\r", "-rw-r--r-- 1 o g 5 Jan  1  2020 f\r", regular(5)},
     "-rw-r--r-- 1 o g 5 Jan  1  2020 f\r;1577836800\n"},
    {"LastSecondOfTheWireFormat",
     {"f", "-rw-r--r-- 1 o g 5 Feb  7  2106 f", regular(5, 4294967295)},
     "-rw-r--r-- 1 o g 5 Feb  7  2106 f;4294967295\n"},
    {"SizeWithLeadingZerosIsTheSameSize",
     {"f", "-rw-r--r-- 1 o g 0005 Jan  1  2020 f", regular(5)},
     "-rw-r--r-- 1 o g 0005 Jan  1  2020 f;1577836800\n"},
    {"NetWareBracket",
     {"f", "- [RWCEAFMS] 1 o 5 Jan  1  2020    f", regular(5)},
     "- [RWCEAFMS] 1 o 5 Jan  1  2020    f;1577836800\n"},
    {"EmptyFile",
     {"f", "-rw-r--r-- 1 o g 0 Jan  1  2020 f", regular(0)},
     "-rw-r--r-- 1 o g 0 Jan  1  2020 f;1577836800\n"},

    // A long name that the parser would misread gives way to the attributes.
    {"NoLongName", {"f", "", regular(5)}, "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"LongNameThatIsOnlyTheName",
     {"file", "file", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 file;1577836800\n"},
    {"DosStyleLongName",
     {"f", "01-01-20  12:00AM                    5 f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"IsoDateStyleLongName",
     {"f", "-rw-r--r-- 1 o g 5 2020-01-01 00:00 f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"UnknownKindLetter",
     {"f", "Drw-r--r-- 1 o g 5 Jan  1  2020 f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"KindLetterOfAnotherKind",
     {"d", "-rwxr-xr-x 1 o g 4096 Jan  1  2020 d", directory()},
     "drwxr-xr-x 1 0 0 4096 Jan  1 2020 d;1577836800\n"},
    {"AnotherNameInTheLongName",
     {"f", "-rw-r--r-- 1 o g 5 Jan  1  2020 /home/u/f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"QuotedNameInTheLongName",
     {"a b", "-rw-r--r-- 1 o g 5 Jan  1  2020 'a b'", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 a b;1577836800\n"},
    {"SlashBehindADirectory",
     {"d", "drwxr-xr-x 2 0 0 4096 Jan  1  2020 d/", directory()},
     "drwxr-xr-x 1 0 0 4096 Jan  1 2020 d;1577836800\n"},
    {"AlignedNameThatWouldGetABlankInFront",
     {"f", "-rw-r--r-- 1 o g 5 Jan  1 2020  f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"NameCutShort",
     {"long-name", "-rw-r--r-- 1 o g 5 Jan  1  2020 long-na", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 long-name;1577836800\n"},
    {"ArrowBehindTheNameOfAFile",
     {"a", "-rw-r--r-- 1 o g 5 Jan  1  2020 a -> b", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 a;1577836800\n"},
    {"AnotherSizeInTheLongName",
     {"f", "-rw-r--r-- 1 o g 4K Jan  1  2020 f", regular(4096)},
     "-rw-r--r-- 1 1000 1001 4096 Jan  1 2020 f;1577836800\n"},
    {"RoundedSizeInTheLongName",
     {"f", "-rw-r--r-- 1 o g 4294967295 Jan  1  2020 f", regular(4294967297)},
     "-rw-r--r-- 1 1000 1001 4294967297 Jan  1 2020 f;1577836800\n"},
    {"GroupNamedLikeAMonth",  // the parser takes the second word of the group for the month
     {"f", "-rw-r--r-- 1 tom the may 5 Jan  1  2020 f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"NetWareNameOfThreeBlanks",
     {"   ", "- [RWCEAFMS] 1 o 5 Jan  1  2020    ", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020    ;1577836800\n"},
    {"SizeThatIsNoNumberWhereTheServerTellsNone",
     {"f", "-rw-r--r-- 1 o g 4K Jan  1  2020 f", untold()},
     "---------- 1 0 0 0 Jan  1 1970 f\n"},
    {"DeviceNumbersInsteadOfASize",
     {"null", "crw-rw-rw- 1 0 0 1, 3 Jan  1  2020 null", {kAll, 0, 0, 0, 0020666, kTime, kTime}},
     "crw-rw-rw- 1 0 0 0 Jan  1 2020 null;1577836800\n"},
    {"LineFeedInTheLongName",
     {"f", "-rw-r--r-- 1 o g\n 5 Jan  1  2020 f", regular(5)},
     "-rw-r--r-- 1 1000 1001 5 Jan  1 2020 f;1577836800\n"},
    {"LineFeedInTheTargetOfALink",
     {"l", "lrwxrwxrwx 1 0 0 6 Jan  1  2020 l -> a\nb", link(6)},
     "lrwxrwxrwx 1 0 0 6 Jan  1 2020 l;1577836800\n"},

    // What the attributes make of each kind.
    {"BuiltSocket",
     {"s", "", {kAll, 0, 7, 8, 0140755, kTime, kTime}},
     "srwxr-xr-x 1 7 8 0 Jan  1 2020 s;1577836800\n"},
    {"BuiltPipe",
     {"p", "", {kAll, 0, 7, 8, 0010600, kTime, kTime}},
     "prw------- 1 7 8 0 Jan  1 2020 p;1577836800\n"},
    {"BuiltBlockDevice",
     {"b", "", {kAll, 0, 7, 8, 0060600, kTime, kTime}},
     "brw------- 1 7 8 0 Jan  1 2020 b;1577836800\n"},
    {"BuiltLink", {"l", "", link(3)}, "lrwxrwxrwx 1 0 0 3 Jan  1 2020 l;1577836800\n"},
    {"BuiltLastDay",
     {"f", "", {kAll, 1, 2, 3, 0100000, 0, 4294967295}},
     "---------- 1 2 3 1 Feb  7 2106 f;4294967295\n"},
    {"BuiltWithTheWidestNumbers",
     {"f", "", {kAll, ~0ULL, ~0ULL, ~0ULL, 0100777, 0, 0}},
     "-rwxrwxrwx 1 18446744073709551615 18446744073709551615 18446744073709551615 Jan  1 1970 f;0\n"},
    {"BuiltFromNothing", {"f", "", untold()}, "---------- 1 0 0 0 Jan  1 1970 f\n"},

    // A server that sends no times: the long name's own stays, unless a `;` would be taken for it.
    {"NoTimeKeepsTheTimeOfTheLongName",
     {"f", "-rw-r--r-- 1 o g 5 Jan  1 12:34 f", untold()},
     "-rw-r--r-- 1 o g 5 Jan  1 12:34 f\n"},
    {"NoTimeAndASemicolonInTheName",
     {"a;b", "-rw-r--r-- 1 o g 5 Jan  1  2020 a;b", untold()},
     "-rw-r--r-- 1 o g 5 Jan  1  2020 a;b;0\n"},
    {"NoTimeAndACarriageReturnAtTheEndOfTheName",
     {"f\r", "-rw-r--r-- 1 o g 5 Jan  1  2020 f\r", untold()},
     "-rw-r--r-- 1 o g 5 Jan  1  2020 f\r;0\n"},
    {"NoPermissionsTakesTheKindOfTheLongName",
     {"l", "lrwxrwxrwx 1 0 0 6 Jan  1  2020 l -> t", untold(kSftpHasTimes)},
     "lrwxrwxrwx 1 0 0 6 Jan  1  2020 l;0 -> t\n"},
};

class SftpListingLine : public testing::TestWithParam<LineCase> {};

TEST_P(SftpListingLine, HoldsTheEntry) { EXPECT_EQ(line_of(GetParam().entry), GetParam().want); }

INSTANTIATE_TEST_SUITE_P(, SftpListingLine, testing::ValuesIn(kLineCases),
                         [](const auto& row) { return row.param.label; });

TEST(SftpListingLines, AreAppendedInOrder) {
  byte_vector listing;
  listing.append("x\n");
  append_listing_line(listing, {"a", "", regular(1)});
  append_listing_line(listing, {"b", "", regular(2)});
  EXPECT_EQ(std::string(listing.begin(), listing.end()),
            "x\n-rw-r--r-- 1 1000 1001 1 Jan  1 2020 a;1577836800\n"
            "-rw-r--r-- 1 1000 1001 2 Jan  1 2020 b;1577836800\n");
}

TEST(SftpListingLines, RefuseNamesThatWouldCutTheListing) {
  EXPECT_TRUE(fits_a_line("plain \t\r;' -> \xC3\xA9"));
  EXPECT_FALSE(fits_a_line("a\n-rw-r--r-- 1 o g 5 Jan  1 2020 forged"));
  EXPECT_FALSE(fits_a_line(std::string_view{"a\0b", 3}));
}

TEST(SftpListingLines, KnowALinkThatTheParserWouldCutInItsName) {
  EXPECT_TRUE(is_link_with_arrow_in_name({"a -> b", "", link(1)}));
  EXPECT_TRUE(is_link_with_arrow_in_name({"a -> ", "", link(1)}));
  EXPECT_TRUE(is_link_with_arrow_in_name({"a -> b", "lrwxrwxrwx 1 0 0 6 Jan  1  2020 a -> b", untold()}));
  EXPECT_FALSE(is_link_with_arrow_in_name({"a ->", "", link(1)}));
  EXPECT_FALSE(is_link_with_arrow_in_name({"a", "lrwxrwxrwx 1 0 0 6 Jan  1  2020 a -> b", link(6)}));
  EXPECT_FALSE(is_link_with_arrow_in_name({"a -> b", "", regular(1)}));
}

TEST(SftpListingLines, ListALinkToADirectoryAsADirectoryWithoutSize) {
  const sftp_attributes target = directory();
  EXPECT_EQ(line_of(listed_as({"a -> b", "", link(7)}, &target)),
            "drwxrwxrwx 1 0 0 0 Jan  1 2020 a -> b;1577836800\n");
}

TEST(SftpListingLines, ListALinkToAFileAsAFileWithTheLinksOwnSize) {
  const sftp_attributes target = regular(999, 5);
  EXPECT_EQ(line_of(listed_as({"a -> b", "", link(7)}, &target)),
            "-rwxrwxrwx 1 0 0 7 Jan  1 2020 a -> b;1577836800\n");
}

TEST(SftpListingLines, ListALinkToNowhereAsAFile) {
  EXPECT_EQ(line_of(listed_as({"a -> b", "", link(7)}, nullptr)),
            "-rwxrwxrwx 1 0 0 7 Jan  1 2020 a -> b;1577836800\n");
}

}  // namespace
}  // namespace ftp_plugin
