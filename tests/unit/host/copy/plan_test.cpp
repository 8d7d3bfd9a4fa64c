#include "host/copy/plan.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "host/local/temporary_name.h"
#include "tests/unit/host/memory_tree.h"

namespace ftp_host {
namespace {

CopyRules upload_rules(bool remove = false) { return sync_rules(true, remove, true); }
CopyRules download_rules(bool remove = false) { return sync_rules(false, remove, true); }

Plan plan_of(MemoryTree& source, MemoryTree& target, const CopyRules& rules, bool target_exists = true) {
  Entry top;
  top.directory = true;
  return make_plan({source, top, std::nullopt, target, target_exists}, rules);
}

std::vector<std::string> copied(const Plan& plan) {
  std::vector<std::string> paths;
  for (const Step& step : plan.copies) paths.push_back(step.path);
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> paths_of(const std::vector<Step>& steps) {
  std::vector<std::string> paths;
  for (const Step& step : steps) paths.push_back(step.path);
  return paths;
}

using Paths = std::vector<std::string>;

TEST(Plan, CopiesWhatIsMissingAndLeavesWhatIsEqual) {
  MemoryTree source{{"a/", "a/x", "b"}};
  MemoryTree target{{"b"}};
  const Plan plan = plan_of(source, target, upload_rules());
  EXPECT_EQ(copied(plan), Paths{"a/x"});
  EXPECT_EQ(plan.unchanged, 1u);
  ASSERT_EQ(plan.directories.size(), 2u);
  EXPECT_EQ(plan.directories[1].path, "a");
  EXPECT_FALSE(plan.directories[1].target);
}

TEST(Plan, CopiesEverythingIntoATargetThatIsNotThere) {
  MemoryTree source{{"a/", "a/x", "b"}};
  MemoryTree target{{}};
  target.unreadable.insert("");
  EXPECT_EQ(copied(plan_of(source, target, upload_rules(), false)), (Paths{"a/x", "b"}));
}

TEST(Plan, RemovesExtrasOnlyWhenAsked) {
  MemoryTree source{{"b"}};
  MemoryTree target{{"b", "c", "d/", "d/e"}};
  EXPECT_TRUE(plan_of(source, target, upload_rules()).extras.empty());
  EXPECT_EQ(paths_of(plan_of(source, target, upload_rules(true)).extras), (Paths{"c", "d"}));
}

TEST(Plan, NeitherCopiesNorRemovesWhatIsExcluded) {
  MemoryTree source{{"keep.tmp", "a"}};
  MemoryTree target{{"other.tmp", "x"}};
  CopyRules rules = upload_rules(true);
  rules.filter = Filter{{}, {"*.tmp"}};
  const Plan plan = plan_of(source, target, rules);
  EXPECT_EQ(copied(plan), Paths{"a"});
  EXPECT_EQ(paths_of(plan.extras), Paths{"x"});
}

TEST(Plan, KnowsTemporaryFilesOnBothSides) {
  const std::string left = temporary_name("a", "1");
  MemoryTree source{{left, "a"}};
  MemoryTree target{{left, "a"}};
  const Plan plan = plan_of(source, target, upload_rules(true));
  EXPECT_TRUE(plan.copies.empty());
  EXPECT_TRUE(plan.extras.empty());
  EXPECT_EQ(paths_of(plan.temporaries), Paths{left});
}

TEST(Plan, ReplacesAnotherKindOnlyWithDelete) {
  MemoryTree source{{"a/", "a/x", "b"}};
  MemoryTree target{{"a", "b/", "b/y"}};
  const Plan careful = plan_of(source, target, upload_rules());
  EXPECT_EQ(careful.problems.size(), 2u);
  EXPECT_TRUE(careful.copies.empty());
  const Plan bold = plan_of(source, target, upload_rules(true));
  EXPECT_EQ(paths_of(bold.clearings), (Paths{"a", "b"}));
  EXPECT_EQ(copied(bold), (Paths{"a/x", "b"}));
}

TEST(Plan, KeepsWhatIsExcludedEvenInTheWay) {
  MemoryTree source{{"cache", "docs/", "docs/a.txt"}};
  MemoryTree target{{"cache/", "cache/precious", "docs"}};
  CopyRules rules = upload_rules(true);
  rules.filter = Filter{{"*.txt", "cache"}, {"cache/"}};
  const Plan plan = plan_of(source, target, rules);
  EXPECT_EQ(plan.problems.size(), 2u);
  EXPECT_TRUE(plan.clearings.empty());
  EXPECT_TRUE(plan.copies.empty());
}

TEST(Plan, AsksForNamesThatTheServerHides) {
  MemoryTree source{{".dot", ".dir/", ".dir/x"}};
  MemoryTree target{{".dot", ".dir/", ".dir/x"}};
  target.hidden = {".dot", ".dir"};
  const Plan plan = plan_of(source, target, upload_rules());
  EXPECT_TRUE(plan.copies.empty());
  EXPECT_EQ(plan.unchanged, 2u);
}

TEST(Plan, LeavesLocalLinksOutAndTheirNamesAlone) {
  MemoryTree source{{"link"}};
  source.at("link").special = true;
  MemoryTree target{{"link"}};
  const Plan plan = plan_of(source, target, upload_rules(true));
  EXPECT_EQ(plan.left_out.size(), 1u);
  EXPECT_TRUE(plan.copies.empty());
  EXPECT_TRUE(plan.extras.empty());
}

TEST(Plan, ReplacesALocalLinkByTheFile) {
  MemoryTree source{{"f"}};
  MemoryTree target{{"f"}};
  target.at("f").special = true;
  const CopyRules rules = download_rules();
  const Plan plan = plan_of(source, target, rules);
  ASSERT_EQ(plan.copies.size(), 1u);
  EXPECT_FALSE(plan.copies[0].there);
}

TEST(Plan, GoesOnBesideADirectoryThatCannotBeRead) {
  MemoryTree source{{"a/", "a/x", "b/", "b/y"}};
  source.unreadable.insert("a");
  MemoryTree target{{}};
  const Plan plan = plan_of(source, target, upload_rules());
  EXPECT_EQ(plan.problems.size(), 1u);
  EXPECT_EQ(copied(plan), Paths{"b/y"});
}

TEST(Plan, TakesAServersLinkToAFileForAFile) {
  MemoryTree source{{"link/"}};
  source.unreadable.insert("link");
  source.file_links["link"] = make_file("link", 5, 100);
  MemoryTree target{{}};
  const CopyRules rules = download_rules();
  const Plan plan = plan_of(source, target, rules);
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_EQ(copied(plan), Paths{"link"});
}

TEST(Plan, KeepsTheFileThatALinkToAFileBecame) {
  MemoryTree source{{"link/"}};
  source.unreadable.insert("link");
  source.file_links["link"] = make_file("link", 5, 100);
  MemoryTree target{{"link"}};
  for (const bool remove : {false, true}) {
    const Plan plan = plan_of(source, target, download_rules(remove));
    EXPECT_TRUE(plan.problems.empty());
    EXPECT_TRUE(plan.clearings.empty());
    EXPECT_TRUE(plan.copies.empty());
    EXPECT_EQ(plan.unchanged, 1u);
  }
}

TEST(Plan, KeepsAFileInTheWayOfADirectoryThatCannotBeRead) {
  MemoryTree source{{"d/", "d/x"}};
  source.unreadable.insert("d");
  MemoryTree target{{"d"}};
  const Plan plan = plan_of(source, target, download_rules(true));
  EXPECT_EQ(plan.problems.size(), 1u);
  EXPECT_TRUE(plan.clearings.empty());
}

TEST(Plan, AsksForAFileWhoseListedSizeMayBeThatOfALink) {
  MemoryTree source{{"link"}};
  source.at("link").size = 10;
  MemoryTree target{{"link"}};
  const Plan plan = plan_of(source, target, download_rules());
  ASSERT_EQ(plan.copies.size(), 1u);
  EXPECT_TRUE(plan.copies[0].there);
}

TEST(Plan, RemovesNoNameThatTheSourceOnlyHides) {
  MemoryTree source{{"a", ".dot", ".dir/", ".dir/x"}};
  source.hidden = {".dot", ".dir"};
  MemoryTree target{{"a", ".dot", ".dir/", ".dir/x", ".gone"}};
  const Plan plan = plan_of(source, target, download_rules(true));
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_EQ(paths_of(plan.extras), Paths{".gone"});
}

TEST(Plan, RemovesNoNameThatNoListingCanHold) {
  MemoryTree source{{"a"}};
  MemoryTree target{{"a", "b\nc", "d\r", "e"}};
  EXPECT_EQ(paths_of(plan_of(source, target, download_rules(true)).extras), Paths{"e"});
}

TEST(Plan, DoesNotBelieveAnEmptyListingThatHidesAName) {
  MemoryTree source{{"d/", "d/x", "e/"}};
  source.hidden = {"d/x"};
  MemoryTree target{{"d/", "d/w", "d/x", "e/", "e/y"}};
  const Plan plan = plan_of(source, target, download_rules(true));
  EXPECT_EQ(plan.problems.size(), 1u);
  EXPECT_EQ(paths_of(plan.extras), Paths{"e/y"});
}

TEST(Plan, WalksThroughDirectoriesThatLookAlike) {
  MemoryTree source{{"a/", "a/a/", "a/a/a/", "a/a/a/f"}};
  MemoryTree target{{}};
  const Plan plan = plan_of(source, target, download_rules());
  EXPECT_TRUE(plan.left_out.empty());
  EXPECT_EQ(copied(plan), Paths{"a/a/a/f"});
}

TEST(Plan, ComparesWithTheFileBehindALinkOfTheTarget) {
  MemoryTree source{{"link"}};
  MemoryTree target{{"link/"}};
  target.file_links["link"] = make_file("link", 5, 100);
  const Plan plan = plan_of(source, target, upload_rules());
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_EQ(plan.unchanged, 1u);
}

TEST(Plan, TellsTheReasonOfEachStep) {
  MemoryTree source{{"missing", "other", "kind", "listed"}};
  MemoryTree target{{"kind/", "extra", "listed"}};
  target.add("other", 6);
  target.add("listed", 5, 60);
  target.add(temporary_name("a", "1"));
  const Plan plan = plan_of(source, target, upload_rules(true));
  const auto reason = [](const std::vector<Step>& steps, const std::string& path) {
    const auto found =
        std::find_if(steps.begin(), steps.end(), [&](const Step& step) { return step.path == path; });
    return found == steps.end() ? std::optional<Step::Reason>{} : found->reason;
  };
  EXPECT_EQ(reason(plan.copies, "missing"), Step::Reason::missing);
  EXPECT_EQ(reason(plan.copies, "other"), Step::Reason::different);
  EXPECT_EQ(reason(plan.copies, "listed"), Step::Reason::perhaps);
  EXPECT_EQ(reason(plan.clearings, "kind"), Step::Reason::in_the_way);
  EXPECT_EQ(reason(plan.extras, "extra"), Step::Reason::not_in_source);
  EXPECT_EQ(reason(plan.temporaries, temporary_name("a", "1")), Step::Reason::of_another_run);
  EXPECT_EQ(plan_of(source, target, put_rules()).copies.front().reason, Step::Reason::everything);
}

TEST(GetPlan, LeavesWhatIsInTheWayToTheFileSystem) {
  MemoryTree source{{"a/", "a/x", "b"}};
  MemoryTree target{{"a", "b/", "b/y"}};
  const Plan plan = plan_of(source, target, get_rules(false));
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_TRUE(plan.clearings.empty());
  EXPECT_EQ(paths_of(plan.makings), Paths{"a"});
  EXPECT_EQ(copied(plan), (Paths{"a/x", "b"}));
}

TEST(GetPlan, CopiesEverythingUnlessItResumes) {
  MemoryTree source{{"same", "other"}};
  MemoryTree target{{"same"}};
  target.add("other", 5, 60);
  EXPECT_EQ(copied(plan_of(source, target, get_rules(false))), (Paths{"other", "same"}));
  const Plan plan = plan_of(source, target, get_rules(true));
  EXPECT_EQ(copied(plan), Paths{"other"});
  EXPECT_TRUE(plan.copies.front().there);
  EXPECT_EQ(plan.unchanged, 1u);
}

TEST(GetPlan, KeepsTemporaryFilesOnlyWhereItResumes) {
  EXPECT_EQ(get_rules(false).temporaries, CopyRules::Temporaries::go_first);
  EXPECT_EQ(get_rules(true).temporaries, CopyRules::Temporaries::stay);
}

}  // namespace
}  // namespace ftp_host
