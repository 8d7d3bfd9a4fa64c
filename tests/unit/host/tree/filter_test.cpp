#include "host/tree/filter.h"

#include <gtest/gtest.h>

namespace ftp_host {
namespace {

struct MatchCase {
  const char *label, *pattern, *path;
  bool directory, matches;
};
class Pattern : public testing::TestWithParam<MatchCase> {};
TEST_P(Pattern, MeansTheEntry) {
  const MatchCase& row = GetParam();
  EXPECT_EQ(matches(row.pattern, row.path, row.directory), row.matches) << row.pattern << " on " << row.path;
}
INSTANTIATE_TEST_SUITE_P(
    , Pattern,
    testing::Values(MatchCase{"NameAtAnyDepth", "*.tmp", "a/b/c.tmp", false, true},
                    MatchCase{"NameOnlyAsAWhole", "tmp", "a/tmpx", false, false},
                    MatchCase{"PathFromTheTop", "/a/b", "a/b", false, true},
                    MatchCase{"PathFromTheTopOnly", "/b", "a/b", false, false},
                    MatchCase{"StarFromTheTopStaysInAComponent", "/*.o", "a/b.o", false, false},
                    MatchCase{"PathAnywhere", "a/b", "x/a/b", false, true},
                    MatchCase{"PathStartsAtAComponent", "a/b", "xa/b", false, false},
                    MatchCase{"StarStaysInAComponent", "a/*", "a/b/c", false, false},
                    MatchCase{"StarAtTheEnd", "a/*", "x/a/b", false, true},
                    MatchCase{"SlashAtTheEndMeansDirectories", "build/", "x/build", true, true},
                    MatchCase{"SlashAtTheEndSparesFiles", "build/", "x/build", false, false},
                    MatchCase{"QuestionMarkAndSet", "?[0-9]", "a7", false, true},
                    MatchCase{"LeadingDotIsOrdinary", "*", ".hidden", false, true}),
    [](const auto& row) { return row.param.label; });

TEST(Filter, TakesEverythingByDefault) { EXPECT_TRUE(Filter{}.takes("a/b", false)); }

TEST(Filter, ExcludeWinsOverInclude) {
  const Filter filter{{"*.txt"}, {"secret*"}};
  EXPECT_TRUE(filter.takes("a/b.txt", false));
  EXPECT_FALSE(filter.takes("a/secret.txt", false));
  EXPECT_FALSE(filter.takes("a/b.bin", false));
}

TEST(Filter, WalksDirectoriesThatNoIncludeNames) {
  const Filter filter{{"*.txt"}, {}};
  EXPECT_TRUE(filter.takes("a", true));
}

}  // namespace
}  // namespace ftp_host
