#include "listing/mlsd_line.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace ftp_plugin {
namespace {

struct MlsdCase {
  const char* label;
  const char* line;
  std::uint32_t attr;
  std::int64_t size;
  const char* time;
  const char* name;
};
void PrintTo(const MlsdCase& row, std::ostream* out) { *out << '"' << row.line << '"'; }

class MlsdLine : public testing::TestWithParam<MlsdCase> {};

TEST_P(MlsdLine, FillsTheRecord) {
  const MlsdCase& want = GetParam();
  const std::string_view line = want.line;
  const std::vector<char> bytes(line.begin(), line.end());  // ends where the line ends: reads past it show
  _FS_FILE_V2 got;
  parse_mlsd_line({bytes.data(), bytes.size()}, got);
  EXPECT_EQ(got.attr, want.attr);
  EXPECT_EQ(got.size, want.size);
  EXPECT_EQ(got.create_time, want.time);
  EXPECT_EQ(got.access_time, want.time);
  EXPECT_EQ(got.modify_time, want.time);
  EXPECT_EQ(got.name, want.name);
  EXPECT_EQ(got.id, "");
}
auto label(const testing::TestParamInfo<MlsdCase>& row) { return std::string{row.param.label}; }

constexpr MlsdCase kLines[] = {
    {"Directory", "type=dir;size=0;modify=20200105123456; my dir", 2, 0, "2020-01-05T12:34:56.000Z",
     "my dir"},
    {"FactNamesFold", "Type=file;Size=12;Modify=20200105123456.789; a", 1, 12, "2020-01-05T12:34:56.000Z",
     "a"},
    {"FactNamesFoldWholly", "TYPE=file;SIZE=12;MODIFY=20200105123456; a", 1, 12, "2020-01-05T12:34:56.000Z",
     "a"},
    {"ValuesDoNotFold", "type=FILE;size=5; b", 2, 5, "", "b"},
    {"EmptyLine", "", 0, 0, "", ""},
    {"NoBlankMeansNoEntry", "type=file;size=5;", 0, 0, "", ""},
    {"ABlankAloneIsAnEmptyName", " ", 0, 0, "", ""},
    {"NoFactsAtAll", " name", 0, 0, "", "name"},
    {"BlanksBelongToTheName", "type=file;  a  b ", 1, 0, "", " a  b "},
    {"SemicolonsAndEqualsBelongToTheName", "type=file; size=9;a=b", 1, 0, "", "size=9;a=b"},
    {"ATabDoesNotEndTheFacts", "type=file;\tname", 0, 0, "", ""},
    {"ABlankInsideAValueBeginsTheName", "type=file;perm=a b;size=5; x", 1, 0, "", "b;size=5; x"},
    {"TheListedDirectoryIsADirectory", "type=cdir; .", 2, 0, "", "."},
    {"TheParentIsADirectory", "type=pdir; ..", 2, 0, "", ".."},
    {"LinksAreDirectories", "type=OS.unix=slink:/target; link", 2, 0, "", "link"},
    {"AnEmptyTypeIsADirectory", "type=; d", 2, 0, "", "d"},
    {"FilesMayNotBeLonger", "type=files; d", 2, 0, "", "d"},
    {"NoTypeNoAttribute", "size=5; a", 0, 5, "", "a"},
    {"ADirectoryForgetsTheSizeBeforeIt", "size=4096;type=dir; d", 2, 0, "", "d"},
    {"ADirectoryKeepsTheSizeBehindIt", "type=dir;size=4096; d", 2, 4096, "", "d"},
    {"DirectoriesHaveASizeOfTheirOwn", "type=dir;sizd=4096; d", 2, 4096, "", "d"},
    {"TheLastOfTwoWins", "type=dir;type=file;size=1;size=2; a", 1, 2, "", "a"},
    {"SizesAreReadAsTheLibraryReadsThem", "type=file;size=+12x; a", 1, 12, "", "a"},
    {"NegativeSizesStay", "type=file;size=-12; a", 1, -12, "", "a"},
    {"NoNumberIsZero", "type=file;size=abc; a", 1, 0, "", "a"},
    {"SizesEndAtTheGreatest", "type=file;size=99999999999999999999; a", 1, 9223372036854775807, "", "a"},
    {"PiecesWithoutEqualsAreSkipped", "type;;file;size; ;=;type=file; a", 0, 0, "", ";=;type=file; a"},
    {"EmptyPiecesAreSkipped", ";;type=file;;size=3;; a", 1, 3, "", "a"},
    {"TheLastPieceNeedsNoSemicolon", "type=file;size=3 a", 1, 3, "", "a"},
    {"AFactWithoutANameIsNone", "=file;size=3; a", 0, 3, "", "a"},
    {"OtherFactsAreIgnored", "unique=12g7;perm=adfr;unix.mode=0644;media-type=x;type=file; a", 1, 0, "", "a"},
    {"LongerNamesAreOtherFacts", "types=file;xtype=file;sizes=3;modifyx=20200105123456; a", 0, 0, "", "a"},
    {"TheFirstEqualsEndsTheName", "type=file=x;size==3; a", 2, 0, "", "a"},
    {"NamesStayInTheServersBytes", "type=file; \xe4\xf6\xfc", 1, 0, "", "\xe4\xf6\xfc"},
    {"ACarriageReturnInsideStays", "type=file; a\r", 1, 0, "", "a\r"},
};
INSTANTIATE_TEST_SUITE_P(Facts, MlsdLine, testing::ValuesIn(kLines), label);

constexpr MlsdCase kTimes[] = {
    {"WithoutSeconds", "modify=202001051234; a", 0, 0, "2020-01-05T12:34:.000Z", "a"},
    {"HalfASecondField", "modify=2020010512345; a", 0, 0, "2020-01-05T12:34:5.000Z", "a"},
    {"WithoutMinutes", "modify=2020010512; a", 0, 0, "2020-01-05T12::.000Z", "a"},
    {"WithoutATime", "modify=20200105; a", 0, 0, "2020-01-05T::.000Z", "a"},
    {"WithoutADay", "modify=202001; a", 0, 0, "2020-01-T::.000Z", "a"},
    {"YearAlone", "modify=2020; a", 0, 0, "2020--T::.000Z", "a"},
    {"HalfAYear", "modify=20; a", 0, 0, "20--T::.000Z", "a"},
    {"Empty", "modify=; a", 0, 0, "--T::.000Z", "a"},
    {"FractionsAreDropped", "modify=20200105123456.999999; a", 0, 0, "2020-01-05T12:34:56.000Z", "a"},
    {"NothingIsChecked", "modify=abcdefghijklmnop; a", 0, 0, "abcd-ef-ghTij:kl:mn.000Z", "a"},
    {"YearsOfFiveDigitsShiftTheRest", "modify=191200105123456; a", 0, 0, "1912-00-10T51:23:45.000Z", "a"},
    {"TheLastOfTwoWins", "modify=20200105123456;modify=2021; a", 0, 0, "2021--T::.000Z", "a"},
};
INSTANTIATE_TEST_SUITE_P(Modify, MlsdLine, testing::ValuesIn(kTimes), label);

}  // namespace
}  // namespace ftp_plugin
