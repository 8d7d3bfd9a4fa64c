#include "host/copy/compare.h"

#include <gtest/gtest.h>

namespace ftp_host {
namespace {

Entry make_file(std::int64_t size, std::optional<std::time_t> time) {
  Entry entry;
  entry.name = "a";
  entry.size = size;
  entry.time = time;
  return entry;
}

struct CompareCase {
  const char* label;
  Entry local, remote;
  bool exact;
  CompareRules rules;
  Verdict verdict;
};
class Compare : public testing::TestWithParam<CompareCase> {};
TEST_P(Compare, DecidesBySizeAndTime) {
  const CompareCase& row = GetParam();
  EXPECT_EQ(compare(row.local, row.remote, row.exact, row.rules), row.verdict);
}
const CompareRules kEqual{true, 0}, kNewer{false, 0}, kWindow{true, 2}, kStrict{true, 0, false};
INSTANTIATE_TEST_SUITE_P(
    , Compare,
    testing::Values(
        CompareCase{"EqualSizeAndTime", make_file(5, 100), make_file(5, 100), false, kEqual, Verdict::same},
        CompareCase{"AnotherSize", make_file(5, 100), make_file(6, 100), false, kEqual, Verdict::different},
        CompareCase{"ListedTimesProveNothing", make_file(5, 100), make_file(5, 60), false, kEqual,
                    Verdict::ask},
        CompareCase{"ExactTimesDo", make_file(5, 100), make_file(5, 60), true, kEqual, Verdict::different},
        CompareCase{"NewerOnTheServerDiffersToo", make_file(5, 100), make_file(5, 160), true, kEqual,
                    Verdict::different},
        CompareCase{"AnUploadIsAsOldAsItsTransfer", make_file(5, 100), make_file(5, 160), true, kNewer,
                    Verdict::same},
        CompareCase{"ALocalChangeIsNewerThanTheUpload", make_file(5, 200), make_file(5, 160), true, kNewer,
                    Verdict::different},
        CompareCase{"AnEditInTheSecondOfTheUploadIsSeen", make_file(5, 160), make_file(5, 160), true, kNewer,
                    Verdict::different},
        CompareCase{"AListingCannotTellAnUploadsAge", make_file(5, 100), make_file(5, 160), false, kNewer,
                    Verdict::ask},
        CompareCase{"TheWindowWidensEqual", make_file(5, 100), make_file(5, 102), false, kWindow,
                    Verdict::same},
        CompareCase{"TheWindowEnds", make_file(5, 100), make_file(5, 103), true, kWindow, Verdict::different},
        CompareCase{"UnknownTimeIsAskedFor", make_file(5, 100), make_file(5, {}), false, kEqual,
                    Verdict::ask},
        CompareCase{"ATimeThatNobodyKnowsIsNoDifference", make_file(5, 100), make_file(5, {}), true, kEqual,
                    Verdict::same},
        CompareCase{"UnlessOnlyWhatIsCertainIsEqual", make_file(5, 100), make_file(5, {}), true, kStrict,
                    Verdict::different},
        CompareCase{"AnUnknownSizeIsCertainlyNotEqualThen", make_file(5, 100), make_file(-1, 100), true,
                    kStrict, Verdict::different},
        CompareCase{"UnknownSizeIsAskedFor", make_file(5, 100), make_file(-1, 100), false, kEqual,
                    Verdict::ask}),
    [](const auto& row) { return row.param.label; });

}  // namespace
}  // namespace ftp_host
