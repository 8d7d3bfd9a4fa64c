#include "listing/ftpparse.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/unit/listing/utc.h"

namespace ftp_plugin {
namespace {

constexpr std::int64_t kNow = utc(2024, 6, 15, 12);

/// Columns: what the row teaches, the line, then what comes out. `name` null: the line is rejected.
struct LineCase {
  const char* label;
  std::string_view line;
  const char* name;
  int cwd = 0;
  int retr = 0;
  int sizetype = 0;
  std::int64_t size = 0;
  int mtimetype = 0;
  std::int64_t mtime = 0;
  const char* id = nullptr;
};
void PrintTo(const LineCase& row, std::ostream* out) { *out << '"' << row.line << '"'; }

class ListLine : public testing::TestWithParam<LineCase> {};

TEST_P(ListLine, ReadsAs) {
  const LineCase& want = GetParam();
  const list_clock clock = list_clock_at(kNow);
  // A copy of the exact length, so that a read past the end is one past an allocation.
  const std::vector<char> bytes(want.line.begin(), want.line.end());
  struct ftpparse got;
  const int understood = ftpparse(&got, bytes.data(), static_cast<int>(bytes.size()), &clock);

  ASSERT_EQ(got.name != nullptr, want.name != nullptr);
  EXPECT_EQ(understood, want.name != nullptr ? 1 : 0);
  if (want.name == nullptr) return;
  EXPECT_EQ(std::string(got.name, static_cast<std::size_t>(got.namelen)), want.name);
  EXPECT_EQ(got.flagtrycwd, want.cwd);
  EXPECT_EQ(got.flagtryretr, want.retr);
  EXPECT_EQ(got.sizetype, want.sizetype);
  EXPECT_EQ(got.size, want.size);
  EXPECT_EQ(got.mtimetype, want.mtimetype);
  EXPECT_EQ(got.mtime, want.mtime);
  EXPECT_EQ(got.idtype, want.id != nullptr ? 1 : 0);
  if (want.id == nullptr) return;
  EXPECT_EQ(std::string(got.id, static_cast<std::size_t>(got.idlen)), want.id);
}
auto label(const testing::TestParamInfo<LineCase>& row) { return std::string{row.param.label}; }

constexpr LineCase kRejected[] = {
    {"EmptyLine", "", nullptr},
    {"OneCharacter", "-", nullptr},
    {"OneDigit", "1", nullptr},
    {"TotalLine", "total 42", nullptr},
    {"VmsTotal", "Total of 3 files, 7/12 blocks", nullptr},
    {"VmsDirectoryHeader", "Directory DKA100:[ANONYMOUS]", nullptr},
    {"ColumnHeaderBeginsLikeAUnixLine", "size date time name", nullptr},
    {"LeadingBlank", " -rw-r--r-- 1 o g 5 Jan 5 12:34 a", nullptr},
    {"LeadingTab", "\tfile", nullptr},
    {"ByteBeyondAscii", "\xe4\xf6 1 2 3", nullptr},
};
INSTANTIATE_TEST_SUITE_P(NoLayout, ListLine, testing::ValuesIn(kRejected), label);

constexpr LineCase kEplf[] = {
    {"WholeLine", "+i4471.20077,m1262304000,r,s512,\treport.txt", "report.txt", 0, 1, 1, 512, 1,
     utc(2010, 1, 1), "4471.20077"},
    {"Directory", "+i7.1,m1262304000,/,\tsub", "sub", 1, 0, 0, 0, 1, utc(2010, 1, 1), "7.1"},
    {"NoFactsAtAll", "+\tname", "name"},
    {"FactsMayEndAtTheTabWithoutAComma", "+s12,r\tn", "n", 0, 1, 1, 12},
    {"NameKeepsCommasTabsAndBlanks", "+r,\t a,b\tc ", " a,b\tc ", 0, 1},
    {"NameMayBeEmpty", "+r,\t", "", 0, 1},
    {"NoTabNoEntry", "+r,s512,report.txt", nullptr},
    {"PlusAlone", "+,", nullptr},
    {"UnknownFactsAreIgnored", "+x9,up644,R,S5,\tn", "n"},
    {"EmptyFactsAreIgnored", "+,,r,,\tn", "n", 0, 1},
    {"LastFactOfAKindWins", "+s1,s2,\tn", "n", 0, 0, 1, 2},
    {"LettersBehindTheFlagsAreIgnored", "+/xyz,retr,\tn", "n", 1, 1},
    {"EmptyValuesCountAsZero", "+s,m,i,\tn", "n", 0, 0, 1, 0, 1, 0, ""},
    {"BlanksBelongToTheFact", "+ r,\tn", "n"},
};
INSTANTIATE_TEST_SUITE_P(Eplf, ListLine, testing::ValuesIn(kEplf), label);

constexpr LineCase kUnix[] = {
    {"File", "-rw-r--r--   1 owner group   1234 Jan  5 12:34 a b.txt", "a b.txt", 0, 1, 1, 1234, 2,
     utc(2024, 1, 5, 12, 34)},
    {"DirectoryWithYear", "drwxr-xr-x   2 owner group   4096 Mar 10  2019 dir", "dir", 1, 0, 1, 4096, 3,
     utc(2019, 3, 10)},
    {"Link", "lrwxrwxrwx 1 o g 7 Jan 01 2020 link -> target", "link", 1, 1, 1, 7, 3, utc(2020, 1, 1)},
    {"BlockDevice", "brw-r----- 1 root disk 8, 0 Jan 5 2020 sda", "sda", 0, 0, 1, 0, 3, utc(2020, 1, 5)},
    {"CharacterDevice", "crw-rw-rw- 1 root root 1, 3 Jan 5 2020 null", "null", 0, 0, 1, 3, 3,
     utc(2020, 1, 5)},
    {"Pipe", "prw-r--r-- 1 o g 0 Jan 5 2020 fifo", "fifo", 0, 0, 1, 0, 3, utc(2020, 1, 5)},
    {"Socket", "srwxr-xr-x 1 o g 0 Jan 5 2020 sock", "sock", 0, 0, 1, 0, 3, utc(2020, 1, 5)},
    {"OneDigitHour", "-rw-r--r-- 1 o g 5 Feb 28 9:05 a", "a", 0, 1, 1, 5, 2, utc(2024, 2, 28, 9, 5)},
    {"ADateJustBackOfAYearIsTheFuture", "-rw-r--r-- 1 o g 5 Jun 20 10:00 a", "a", 0, 1, 1, 5, 2,
     utc(2024, 6, 20, 10)},
    {"ADateOfLateLastYear", "-rw-r--r-- 1 o g 5 Dec 31 23:59 a", "a", 0, 1, 1, 5, 2,
     utc(2023, 12, 31, 23, 59)},
    {"MonthInLowerCase", "-rw-r--r-- 1 o g 5 mar 10 2019 a", "a", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"MonthInMixedCase", "-rw-r--r-- 1 o g 5 mAR 10 2019 a", "a", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"MonthInAnotherLanguageIsNone", "-rw-r--r-- 1 o g 5 Mai 10 2019 a", nullptr},
    {"MonthWithALongName", "-rw-r--r-- 1 o g 5 March 10 2019 a", nullptr},
    {"NumericMonthIsNone", "-rw-r--r-- 1 o g 5 2019-03-10 12:00 a", nullptr},
    {"NoGroupColumn", "-rw-r--r-- 1 owner 321 Mar 10 2019 a", "a", 0, 1, 1, 321, 3, utc(2019, 3, 10)},
    {"NeitherOwnerNorGroup", "-rw-r--r-- 1 321 Mar 10 2019 a", nullptr},
    {"BlanksInTheGroup", "-rw-r--r-- 1 owner Domain Users of X 321 Mar 10 2019 a", "a", 0, 1, 1, 321, 3,
     utc(2019, 3, 10)},
    {"TheSizeIsTheLastColumnBeforeTheMonth", "-rw-r--r-- 1 o g 5 77 Mar 10 2019 a", "a", 0, 1, 1, 77, 3,
     utc(2019, 3, 10)},
    {"AnOwnerNamedLikeAMonth", "-rw-r--r-- 1 jan jan 321 Mar 10 2019 a", "a", 0, 1, 1, 321, 3,
     utc(2019, 3, 10)},
    // The group is the first tentative size; the size column "321" comes after the "month" and is the day.
    {"AThirdColumnNamedLikeAMonthIsTheMonth", "-rw-r--r-- 1 o g may 321 2019 a", "a", 0, 1, 1, 'g' - '0', 3,
     utc(2019, 5, 1) + 320 * 86400},
    {"LongerTimesAreYears", "-rw-r--r-- 1 o g 5 Mar 10 02019 a", "a", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"ShorterFieldsBehindTheDayArePassedOver", "-rw-r--r-- 1 o g 5 Mar 10 AM x 2019 a", "a", 0, 1, 1, 5, 3,
     utc(2019, 3, 10)},
    {"NoTimeNoEntry", "-rw-r--r-- 1 o g 5 Mar 10 a b c", nullptr},
    {"TheTimeMustBeEndedByABlank", "-rw-r--r-- 1 o g 5 Mar 10 2019", nullptr},
    {"NameMayBeEmpty", "-rw-r--r-- 1 o g 5 Mar 10 2019 ", "", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"NameKeepsItsBlanks", "-rw-r--r-- 1 o g 5 Mar 10 2019  a  ", " a  ", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"NameMayHoldAnArrowInAFile", "-rw-r--r-- 1 o g 5 Mar 10 2019 a -> b", "a -> b", 0, 1, 1, 5, 3,
     utc(2019, 3, 10)},
    {"NameMayHoldASemicolon", "-rw-r--r-- 1 o g 5 Mar 10 2019 a;1", "a;1", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"ALinkIsCutAtTheFirstArrow", "lrwxrwxrwx 1 o g 7 Jan 01 2020 a -> b -> c", "a", 1, 1, 1, 7, 3,
     utc(2020, 1, 1)},
    {"AnArrowAtTheEndCuts", "lrwxrwxrwx 1 o g 7 Jan 01 2020 a -> ", "a", 1, 1, 1, 7, 3, utc(2020, 1, 1)},
    {"AnArrowWithoutItsLastBlankDoesNotCut", "lrwxrwxrwx 1 o g 7 Jan 01 2020 a ->", "a ->", 1, 1, 1, 7, 3,
     utc(2020, 1, 1)},
    {"AnArrowAtTheStartLeavesNoName", "lrwxrwxrwx 1 o g 7 Jan 01 2020  -> b", "", 1, 1, 1, 7, 3,
     utc(2020, 1, 1)},
    {"ALinkWithoutATargetKeepsItsName", "lrwxrwxrwx 1 o g 7 Jan 01 2020 a", "a", 1, 1, 1, 7, 3,
     utc(2020, 1, 1)},
    {"RunsOfBlanksSeparate", "-rw-r--r--  1   o    g     5  Mar   10    2019 a", "a", 0, 1, 1, 5, 3,
     utc(2019, 3, 10)},
    {"TabsDoNotSeparate", "-rw-r--r--\t1 o g 5 Mar 10 2019 a", "a", 0, 1, 1, 5, 3, utc(2019, 3, 10)},
    {"OnlyBlanksFollow", "-rw-r--r--        ", nullptr},
    {"LeapDayOfACenturyYear", "-rw-r--r-- 1 o g 5 Feb 29 2000 a", "a", 0, 1, 1, 5, 3, utc(2000, 2, 29)},
    {"YearZero", "-rw-r--r-- 1 o g 5 Mar  1 0000 a", "a", 0, 1, 1, 5, 3, utc(0, 3, 1)},
};
INSTANTIATE_TEST_SUITE_P(Unix, ListLine, testing::ValuesIn(kUnix), label);

constexpr LineCase kNetWare[] = {
    {"Directory", "d [R----F--] supervisor            512       Jan 16 2023    login", "login", 1, 0, 1, 512,
     3, utc(2023, 1, 16)},
    {"File", "- [R----F--] rhesus             214059       Oct 20 2023    cx.exe", "cx.exe", 0, 1, 1, 214059,
     3, utc(2023, 10, 20)},
    {"RightsWithoutABlank", "d[RWCEAFMS] 1 owner 512 Jan 16 2023    login", "login", 1, 0, 1, 512, 3,
     utc(2023, 1, 16)},
    // The name begins one blank behind the time, so three more are dropped and others stay.
    {"FourBlanksDropThree", "- [R----F--] o 5 Jan 16 2023     x", " x", 0, 1, 1, 5, 3, utc(2023, 1, 16)},
    {"TwoBlanksStay", "- [R----F--] o 5 Jan 16 2023   x", "  x", 0, 1, 1, 5, 3, utc(2023, 1, 16)},
    {"ThreeBlanksAloneAreTheName", "- [R----F--] o 5 Jan 16 2023    ", "   ", 0, 1, 1, 5, 3,
     utc(2023, 1, 16)},
    {"OtherServersKeepThreeBlanks", "-rw-r--r-- 1 o g 5 Jan 16 2023    x", "   x", 0, 1, 1, 5, 3,
     utc(2023, 1, 16)},
    {"ALinkIsCutFirst", "l [R----F--] o 5 Jan 16 2023    x -> y", "x", 1, 1, 1, 5, 3, utc(2023, 1, 16)},
    {"ACutThatLeavesOnlyTheBlanksKeepsThem", "l [R----F--] o 5 Jan 16 2023     -> y", "   ", 1, 1, 1, 5, 3,
     utc(2023, 1, 16)},
};
INSTANTIATE_TEST_SUITE_P(NetWare, ListLine, testing::ValuesIn(kNetWare), label);

constexpr LineCase kNetPresenz[] = {
    {"FolderHasNoLinkCount", "drwxrwxr-x               folder        2 May 10  2019 network", "network", 1, 0,
     1, 2, 3, utc(2019, 5, 10)},
    {"AFileHasForksForOwnerAndGroup", "-------r--         326  1391972  1392298 Nov 22  2019 MegaPhone.sit",
     "MegaPhone.sit", 0, 1, 1, 1392298, 3, utc(2019, 11, 22)},
    // Any column of six characters with an f in front is taken for it.
    {"SixCharactersAndAnFAreEnough", "drwxrwxr-x foobar 2 May 10 2019 n", "n", 1, 0, 1, 2, 3,
     utc(2019, 5, 10)},
    {"SevenCharactersAreALinkCount", "drwxrwxr-x folders 2 May 10 2019 n", nullptr},
    {"ACapitalIsALinkCount", "drwxrwxr-x Folder 2 May 10 2019 n", nullptr},
};
INSTANTIATE_TEST_SUITE_P(NetPresenz, ListLine, testing::ValuesIn(kNetPresenz), label);

constexpr LineCase kMultinet[] = {
    {"Directory", "FILE.DIR;1  1 1-JAN-2020 10:00 [x] (RWED)", "FILE", 1, 0, 0, 0, 2, utc(2020, 1, 1, 10)},
    {"File", "README.TXT;12  34 29-FEB-2020 23:59:58 [SYSTEM] (RWED,,RE)", "README.TXT", 0, 1, 0, 0, 2,
     utc(2020, 2, 29, 23, 59)},
    {"MonthInLowerCase", "A.B;1 1 1-dec-2019 1:05 x", "A.B", 0, 1, 0, 0, 2, utc(2019, 12, 1, 1, 5)},
    {"BadMonth", "FILE.DIR;1  1 1-FOO-2020 10:00 [x]", nullptr},
    {"LongMonth", "FILE.DIR;1  1 1-JANUARY-2020 10:00 [x]", nullptr},
    {"LowerCaseSuffixIsNoDirectory", "FILE.dir;1  1 1-JAN-2020 10:00 [x]", "FILE.dir", 0, 1, 0, 0, 2,
     utc(2020, 1, 1, 10)},
    {"TheSuffixAloneIsAFile", ".DIR;1  1 1-JAN-2020 10:00 [x]", ".DIR", 0, 1, 0, 0, 2, utc(2020, 1, 1, 10)},
    {"OneCharacterBeforeTheSuffixIsEnough", "A.DIR;1  1 1-JAN-2020 10:00 [x]", "A", 1, 0, 0, 0, 2,
     utc(2020, 1, 1, 10)},
    {"TheSuffixInsideTheNameIsPartOfIt", "A.DIR.X;1  1 1-JAN-2020 10:00 [x]", "A.DIR.X", 0, 1, 0, 0, 2,
     utc(2020, 1, 1, 10)},
    {"TheFirstSemicolonEndsTheName", "A.B;1;2  1 1-JAN-2020 10:00 [x]", "A.B", 0, 1, 0, 0, 2,
     utc(2020, 1, 1, 10)},
    {"AnEmptyNameIsAName", ";1  1 1-JAN-2020 10:00 [x]", "", 0, 1, 0, 0, 2, utc(2020, 1, 1, 10)},
    {"ANameMayBeginWithADigit", "1A.B;1  1 1-JAN-2020 10:00 [x]", "1A.B", 0, 1, 0, 0, 2, utc(2020, 1, 1, 10)},
    {"DashesMayRepeat", "A.B;1  1 1---JAN--2020 10::00 [x]", "A.B", 0, 1, 0, 0, 2, utc(2020, 1, 1, 10)},
    {"TheMinuteMustBeEnded", "A.B;1  1 1-JAN-2020 10:00", nullptr},
    {"TheMinuteMayBeEndedByAColonAtTheEnd", "A.B;1  1 1-JAN-2020 10:00:", "A.B", 0, 1, 0, 0, 2,
     utc(2020, 1, 1, 10)},
    {"EndsBehindTheName", "VERY_LONG_NAME.TXT;1", nullptr},
    {"EndsBehindTheVersion", "A.B;1 ", nullptr},
    {"EndsBehindTheBlocks", "A.B;1 12", nullptr},
    {"EndsInTheDay", "A.B;1 12 1", nullptr},
    {"EndsInTheMonth", "A.B;1 12 1-JAN", nullptr},
    {"EndsBehindTheMonth", "A.B;1 12 1-JAN-", nullptr},
    {"EndsInTheYear", "A.B;1 12 1-JAN-2020", nullptr},
    {"EndsBehindTheYear", "A.B;1 12 1-JAN-2020  ", nullptr},
    {"EndsInTheHour", "A.B;1 12 1-JAN-2020 10", nullptr},
    {"EndsBehindTheHour", "A.B;1 12 1-JAN-2020 10:", nullptr},
    {"ProtectionErrorsAreNoEntries", "SECRET.DIR;1 %RMS-E-PRV, insufficient privilege", nullptr},
    // A digit in front does not make it another layout: the semicolon decides first.
    {"ADosLineWithASemicolonIsRejected", "12-31-99  11:59PM  5 a;b", nullptr},
    // Lower-case names that begin like a UNIX line are taken for one.
    {"LowerCaseNamesMayLookLikeUnix", "data.txt;1  1 1-JAN-2020 10:00 [x]", nullptr},
};
INSTANTIATE_TEST_SUITE_P(Multinet, ListLine, testing::ValuesIn(kMultinet), label);

constexpr LineCase kDos[] = {
    {"Directory", "12-31-99  11:59PM       <DIR>          Folder", "Folder", 1, 0, 0, 0, 2,
     utc(1999, 12, 31, 23, 59)},
    {"File", "01-02-03  12:00AM   42 f", "f", 0, 1, 1, 42, 2, utc(2003, 1, 2)},
    {"Noon", "01-02-03  12:30PM   42 f", "f", 0, 1, 1, 42, 2, utc(2003, 1, 2, 12, 30)},
    {"Morning", "01-02-03  08:05AM   42 f", "f", 0, 1, 1, 42, 2, utc(2003, 1, 2, 8, 5)},
    {"Year49IsThisCentury", "01-02-49  08:05AM   42 f", "f", 0, 1, 1, 42, 2, utc(2049, 1, 2, 8, 5)},
    {"Year50IsTheLast", "01-02-50  08:05AM   42 f", "f", 0, 1, 1, 42, 2, utc(1950, 1, 2, 8, 5)},
    {"Year999Gets1900Added", "01-02-999  08:05AM   42 f", "f", 0, 1, 1, 42, 2, utc(2899, 1, 2, 8, 5)},
    {"FourDigitYear", "01-02-2019  08:05AM   42 f", "f", 0, 1, 1, 42, 2, utc(2019, 1, 2, 8, 5)},
    {"NoM", "01-02-19  08:05P   42 f", "f", 0, 1, 1, 42, 2, utc(2019, 1, 2, 20, 5)},
    {"NoBlankBehindTheTime", "01-02-19  08:05PM42 f", "f", 0, 1, 1, 42, 2, utc(2019, 1, 2, 20, 5)},
    {"NameKeepsInnerBlanks", "01-02-19  08:05AM   42 a  b ", "a  b ", 0, 1, 1, 42, 2, utc(2019, 1, 2, 8, 5)},
    {"NameLosesLeadingBlanks", "01-02-19  08:05AM   42    f", "f", 0, 1, 1, 42, 2, utc(2019, 1, 2, 8, 5)},
    {"AnyColumnWithABracketIsADirectory", "01-02-19  08:05AM   <JUNCTION>  j", "j", 1, 0, 0, 0, 2,
     utc(2019, 1, 2, 8, 5)},
    {"DashesAndColonsMayRepeat", "01--02---19  08::05AM   42 f", "f", 0, 1, 1, 42, 2, utc(2019, 1, 2, 8, 5)},
    {"MonthZeroIsTheDecemberBefore", "00-02-19  08:05AM   42 f", "f", 0, 1, 1, 42, 2, utc(2018, 12, 2, 8, 5)},
    {"SmallLettersOfTheHalfDayAreNotSeen", "01-02-19  08:05am   42 f", nullptr},
    // Without a half of the day the minute runs on to the next A or P, and the name comes from behind it:
    // "05   42 " reads as a number, "P" makes it afternoon, "7" is the size.
    {"TwentyFourHourTimesReadWhatFollows", "01-02-19  08:05   42 P7 f", "f", 0, 1, 1, 7, 2,
     utc(2019, 1, 2, 20) +
         60 * (((((((((0 * 10 + 5) * 10 - 16) * 10 - 16) * 10 - 16) * 10 + 4) * 10) + 2) * 10) - 16)},
    {"TwentyFourHourTimesWithoutALetterEnd", "01-02-19  20:05   <dir>  x", nullptr},
    {"SlashesAreNotDashes", "01/02/19  08:05AM   42 f", nullptr},
    {"EndsInTheMonth", "01", nullptr},
    {"EndsBehindTheMonth", "01-", nullptr},
    {"EndsInTheDay", "01-02", nullptr},
    {"EndsBehindTheDay", "01-02-", nullptr},
    {"EndsInTheYear", "01-02-19", nullptr},
    {"EndsBehindTheYear", "01-02-19  ", nullptr},
    {"EndsInTheHour", "01-02-19  08", nullptr},
    {"EndsBehindTheHour", "01-02-19  08:", nullptr},
    {"EndsInTheMinute", "01-02-19  08:05", nullptr},
    {"EndsBehindTheA", "01-02-19  08:05A", nullptr},
    {"EndsBehindTheM", "01-02-19  08:05AM", nullptr},
    {"EndsBehindTheTime", "01-02-19  08:05AM  ", nullptr},
    {"EndsInTheSize", "01-02-19  08:05AM  42", nullptr},
    {"EndsBehindTheSize", "01-02-19  08:05AM  42 ", nullptr},
    {"EndsInTheDirectoryMark", "01-02-19  08:05AM  <DIR>", nullptr},
    {"EndsBehindTheDirectoryMark", "01-02-19  08:05AM  <DIR>   ", nullptr},
};
INSTANTIATE_TEST_SUITE_P(Dos, ListLine, testing::ValuesIn(kDos), label);

constexpr LineCase kGetlong[] = {
    {"TakesACommaAsMinusFour", "-rw-r--r-- 1 o g 1,234 Mar 10 2019 a", "a", 0, 1, 1, 6234, 3,
     utc(2019, 3, 10)},
    {"TakesLettersForNumbers", "-rw-r--r-- 1 o g x Mar 10 2019 a", "a", 0, 1, 1, 'x' - '0', 3,
     utc(2019, 3, 10)},
    {"TakesAMinusAsMinusThree", "-rw-r--r-- 1 o g -5 Mar 10 2019 a", "a", 0, 1, 1, -25, 3, utc(2019, 3, 10)},
    {"TakesBytesFrom80OnAsNegative", "-rw-r--r-- 1 o g \xff Mar 10 2019 a", "a", 0, 1, 1, -49, 3,
     utc(2019, 3, 10)},
    {"Reads64Bits", "+s9223372036854775807,\tn", "n", 0, 0, 1, 9223372036854775807},
    {"WrapsAt63Bits", "+s9223372036854775808,\tn", "n", 0, 0, 1, -9223372036854775807 - 1},
    {"WrapsAt64Bits", "+s99999999999999999999,\tn", "n", 0, 0, 1, 7766279631452241919},
};
INSTANTIATE_TEST_SUITE_P(Getlong, ListLine, testing::ValuesIn(kGetlong), label);

TEST(ListLine, TimesOfDayWrapInsteadOfOverflowing) {
  // 2^62 hours are a multiple of 2^64 seconds: the hour falls out of the sum.
  const std::string line = "A.B;1 1 1-JAN-2020 4611686018427387904:07 [x]";
  struct ftpparse got;
  ASSERT_EQ(ftpparse(&got, line.data(), static_cast<int>(line.size())), 1);
  EXPECT_EQ(got.mtime, utc(2020, 1, 1, 0, 7));
}

TEST(ListLine, ALengthBelowTwoIsNoLine) {
  struct ftpparse got;
  const char* line = "+\tname";
  for (const int length : {-1, 0, 1}) {
    got.name = line;
    EXPECT_EQ(ftpparse(&got, line, length), 0) << length;
    EXPECT_EQ(got.name, nullptr) << length;
  }
}

TEST(ListLine, OverwritesWhatTheRecordHeld) {
  struct ftpparse got;
  const std::string full = "+i4471.20077,m1262304000,r,/,s512,\treport.txt";
  ASSERT_EQ(ftpparse(&got, full.data(), static_cast<int>(full.size())), 1);
  const std::string bare = "+\tn";
  ASSERT_EQ(ftpparse(&got, bare.data(), static_cast<int>(bare.size())), 1);
  EXPECT_EQ(got.flagtrycwd + got.flagtryretr + got.sizetype + got.mtimetype + got.idtype + got.idlen, 0);
  EXPECT_EQ(got.size + got.mtime, 0);
  EXPECT_EQ(got.id, nullptr);
}

TEST(ListLine, PointsIntoTheCallersLine) {
  const std::string line = "+i12,r,\tname";
  struct ftpparse got;
  ASSERT_EQ(ftpparse(&got, line.data(), static_cast<int>(line.size())), 1);
  EXPECT_EQ(got.name, line.data() + line.find("name"));
  EXPECT_EQ(got.id, line.data() + line.find("12"));
}

TEST(ListLine, WithoutAClockGuessesByTheMachines) {
  const std::string line = "-rw-r--r--   1 owner group   1234 Jan  5 12:34 a b.txt";
  struct ftpparse got;
  ASSERT_EQ(ftpparse(&got, line.data(), static_cast<int>(line.size())), 1);
  const std::int64_t now = time(nullptr);
  EXPECT_LT(now - got.mtime, 350 * 86400);
  EXPECT_LT(got.mtime - now, 366 * 86400);
}

TEST(ListLine, IsReadByManyThreadsAtOnce) {
  const std::string line = "-rw-r--r--   1 owner group   1234 Jan  5 12:34 a b.txt";
  std::vector<std::int64_t> times(4);
  std::vector<std::thread> threads;
  for (std::int64_t& time : times) {
    threads.emplace_back([&time, &line] {
      struct ftpparse got;
      if (ftpparse(&got, line.data(), static_cast<int>(line.size())) == 1) time = got.mtime;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::int64_t time : times) EXPECT_EQ(time, times.front());
  EXPECT_NE(times.front(), 0);
}

}  // namespace
}  // namespace ftp_plugin
