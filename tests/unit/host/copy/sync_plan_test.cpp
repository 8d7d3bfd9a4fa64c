#include "host/copy/sync_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <set>

#include "host/copy/sync_run.h"
#include "host/names.h"

namespace ftp_host {
namespace {

Entry make_file(const std::string& name, std::int64_t size, std::optional<std::time_t> time) {
  Entry entry;
  entry.name = name;
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
const CompareRules kEqual{true, 0}, kNewer{false, 0}, kWindow{true, 2};
INSTANTIATE_TEST_SUITE_P(
    , Compare,
    testing::Values(CompareCase{"EqualSizeAndTime", make_file("a", 5, 100), make_file("a", 5, 100), false,
                                kEqual, Verdict::same},
                    CompareCase{"AnotherSize", make_file("a", 5, 100), make_file("a", 6, 100), false, kEqual,
                                Verdict::different},
                    CompareCase{"ListedTimesProveNothing", make_file("a", 5, 100), make_file("a", 5, 60),
                                false, kEqual, Verdict::ask},
                    CompareCase{"ExactTimesDo", make_file("a", 5, 100), make_file("a", 5, 60), true, kEqual,
                                Verdict::different},
                    CompareCase{"NewerOnTheServerDiffersToo", make_file("a", 5, 100), make_file("a", 5, 160),
                                true, kEqual, Verdict::different},
                    CompareCase{"AnUploadIsAsOldAsItsTransfer", make_file("a", 5, 100),
                                make_file("a", 5, 160), true, kNewer, Verdict::same},
                    CompareCase{"ALocalChangeIsNewerThanTheUpload", make_file("a", 5, 200),
                                make_file("a", 5, 160), true, kNewer, Verdict::different},
                    CompareCase{"AnEditInTheSecondOfTheUploadIsSeen", make_file("a", 5, 160),
                                make_file("a", 5, 160), true, kNewer, Verdict::different},
                    CompareCase{"AListingCannotTellAnUploadsAge", make_file("a", 5, 100),
                                make_file("a", 5, 160), false, kNewer, Verdict::ask},
                    CompareCase{"TheWindowWidensEqual", make_file("a", 5, 100), make_file("a", 5, 102), false,
                                kWindow, Verdict::same},
                    CompareCase{"TheWindowEnds", make_file("a", 5, 100), make_file("a", 5, 103), true,
                                kWindow, Verdict::different},
                    CompareCase{"UnknownTimeIsAskedFor", make_file("a", 5, 100), make_file("a", 5, {}), false,
                                kEqual, Verdict::ask},
                    CompareCase{"ATimeThatNobodyKnowsIsNoDifference", make_file("a", 5, 100),
                                make_file("a", 5, {}), true, kEqual, Verdict::same},
                    CompareCase{"UnknownSizeIsAskedFor", make_file("a", 5, 100), make_file("a", -1, 100),
                                false, kEqual, Verdict::ask}),
    [](const auto& row) { return row.param.label; });

/// A tree in memory: "a/" is a directory, "a/f" a file of 5 bytes at time 100 unless told otherwise.
class MemoryTree final : public Tree {
 public:
  explicit MemoryTree(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) add(path);
  }
  void add(std::string path, std::int64_t size = 5, std::time_t time = 100) {
    Entry entry = make_file("", size, time);
    if (path.ends_with('/')) {
      path.pop_back();
      entry.directory = true;
    }
    entry.id = path;
    entry.name = path.substr(path.rfind('/') + 1);
    entries_[path] = entry;
  }
  Entry& at(const std::string& path) { return entries_.at(path); }

  std::string top() const override { return ""; }
  Listing list(const std::string& place) override {
    if (unreadable.count(place) > 0) throw Failure{ExitCode::other, place};
    Listing listing;
    for (const auto& [path, entry] : entries_) {
      if (hidden.count(path) > 0) continue;
      const std::size_t slash = path.rfind('/');
      if ((slash == std::string::npos ? "" : path.substr(0, slash)) == place)
        listing.entries.push_back(entry);
    }
    return listing;
  }
  std::optional<Entry> find_hidden(const std::string& place, const std::string& name,
                                   bool directory) override {
    const auto found = entries_.find(path_below(place, name));
    if (found == entries_.end() || found->second.directory != directory) return std::nullopt;
    return found->second;
  }
  std::optional<Entry> as_file(const std::string& place) override {
    const auto found = file_links.find(place);
    if (found == file_links.end()) return std::nullopt;
    return found->second;
  }
  std::string make_directory(const std::string& place, const std::string& name) override {
    return path_below(place, name);
  }
  void remove_file(const std::string& place) override { removed.push_back(place); }
  void remove_directory(const std::string& place) override { removed.push_back(place + "/"); }
  bool remove_link(const std::string& place) override { return links.count(place) > 0; }
  void remove_temporary(const std::string& place) override { removed.push_back(place); }

  std::set<std::string> unreadable, hidden, links;
  std::map<std::string, Entry> file_links;
  std::vector<std::string> removed;

 private:
  std::map<std::string, Entry> entries_;
};

SyncOptions upload_options(bool remove = false) {
  SyncOptions options;
  options.remove = remove;
  return options;
}

SyncOptions download_options(bool remove = false) {
  SyncOptions options = upload_options(remove);
  options.upload = false;
  return options;
}

std::vector<std::string> copied(const Plan& plan) {
  std::vector<std::string> paths;
  for (const PlannedFile& file : plan.files) paths.push_back(file.path);
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> paths_of(const std::vector<PlannedRemoval>& removals) {
  std::vector<std::string> paths;
  for (const PlannedRemoval& removal : removals) paths.push_back(removal.path);
  return paths;
}

using Paths = std::vector<std::string>;

TEST(Plan, CopiesWhatIsMissingAndLeavesWhatIsEqual) {
  MemoryTree source{{"a/", "a/x", "b"}};
  MemoryTree target{{"b"}};
  const Plan plan = make_plan(source, target, true, upload_options());
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
  EXPECT_EQ(copied(make_plan(source, target, false, upload_options())), (Paths{"a/x", "b"}));
}

TEST(Plan, RemovesExtrasOnlyWhenAsked) {
  MemoryTree source{{"b"}};
  MemoryTree target{{"b", "c", "d/", "d/e"}};
  EXPECT_TRUE(make_plan(source, target, true, upload_options()).extras.empty());
  EXPECT_EQ(paths_of(make_plan(source, target, true, upload_options(true)).extras), (Paths{"c", "d"}));
}

TEST(Plan, NeitherCopiesNorRemovesWhatIsExcluded) {
  MemoryTree source{{"keep.tmp", "a"}};
  MemoryTree target{{"other.tmp", "x"}};
  SyncOptions options = upload_options(true);
  options.filter = Filter{{}, {"*.tmp"}};
  const Plan plan = make_plan(source, target, true, options);
  EXPECT_EQ(copied(plan), Paths{"a"});
  EXPECT_EQ(paths_of(plan.extras), Paths{"x"});
}

TEST(Plan, KnowsTemporaryFilesOnBothSides) {
  const std::string left = temporary_name("a", "1");
  MemoryTree source{{left, "a"}};
  MemoryTree target{{left, "a"}};
  const Plan plan = make_plan(source, target, true, upload_options(true));
  EXPECT_TRUE(plan.files.empty());
  EXPECT_TRUE(plan.extras.empty());
  EXPECT_EQ(paths_of(plan.temporaries), Paths{left});
}

TEST(Plan, ReplacesAnotherKindOnlyWithDelete) {
  MemoryTree source{{"a/", "a/x", "b"}};
  MemoryTree target{{"a", "b/", "b/y"}};
  const Plan careful = make_plan(source, target, true, upload_options());
  EXPECT_EQ(careful.problems.size(), 2u);
  EXPECT_TRUE(careful.files.empty());
  const Plan bold = make_plan(source, target, true, upload_options(true));
  EXPECT_EQ(paths_of(bold.conflicts), (Paths{"a", "b"}));
  EXPECT_EQ(copied(bold), (Paths{"a/x", "b"}));
}

TEST(Plan, KeepsWhatIsExcludedEvenInTheWay) {
  MemoryTree source{{"cache", "docs/", "docs/a.txt"}};
  MemoryTree target{{"cache/", "cache/precious", "docs"}};
  SyncOptions options = upload_options(true);
  options.filter = Filter{{"*.txt", "cache"}, {"cache/"}};
  const Plan plan = make_plan(source, target, true, options);
  EXPECT_EQ(plan.problems.size(), 2u);
  EXPECT_TRUE(plan.conflicts.empty());
  EXPECT_TRUE(plan.files.empty());
}

TEST(Plan, AsksForNamesThatTheServerHides) {
  MemoryTree source{{".dot", ".dir/", ".dir/x"}};
  MemoryTree target{{".dot", ".dir/", ".dir/x"}};
  target.hidden = {".dot", ".dir"};
  const Plan plan = make_plan(source, target, true, upload_options());
  EXPECT_TRUE(plan.files.empty());
  EXPECT_EQ(plan.unchanged, 2u);
}

TEST(Plan, LeavesLocalLinksOutAndTheirNamesAlone) {
  MemoryTree source{{"link"}};
  source.at("link").special = true;
  MemoryTree target{{"link"}};
  const Plan plan = make_plan(source, target, true, upload_options(true));
  EXPECT_EQ(plan.left_out.size(), 1u);
  EXPECT_TRUE(plan.files.empty());
  EXPECT_TRUE(plan.extras.empty());
}

TEST(Plan, ReplacesALocalLinkByTheFile) {
  MemoryTree source{{"f"}};
  MemoryTree target{{"f"}};
  target.at("f").special = true;
  SyncOptions options;
  options.upload = false;
  const Plan plan = make_plan(source, target, true, options);
  ASSERT_EQ(plan.files.size(), 1u);
  EXPECT_FALSE(plan.files[0].target);
}

TEST(Plan, GoesOnBesideADirectoryThatCannotBeRead) {
  MemoryTree source{{"a/", "a/x", "b/", "b/y"}};
  source.unreadable.insert("a");
  MemoryTree target{{}};
  const Plan plan = make_plan(source, target, true, upload_options());
  EXPECT_EQ(plan.problems.size(), 1u);
  EXPECT_EQ(copied(plan), Paths{"b/y"});
}

TEST(Plan, TakesAServersLinkToAFileForAFile) {
  MemoryTree source{{"link/"}};
  source.unreadable.insert("link");
  source.file_links["link"] = make_file("link", 5, 100);
  MemoryTree target{{}};
  SyncOptions options;
  options.upload = false;
  const Plan plan = make_plan(source, target, true, options);
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_EQ(copied(plan), Paths{"link"});
}

TEST(Plan, KeepsTheFileThatALinkToAFileBecame) {
  MemoryTree source{{"link/"}};
  source.unreadable.insert("link");
  source.file_links["link"] = make_file("link", 5, 100);
  MemoryTree target{{"link"}};
  for (const bool remove : {false, true}) {
    const Plan plan = make_plan(source, target, true, download_options(remove));
    EXPECT_TRUE(plan.problems.empty());
    EXPECT_TRUE(plan.conflicts.empty());
    EXPECT_TRUE(plan.files.empty());
    EXPECT_EQ(plan.unchanged, 1u);
  }
}

TEST(Plan, KeepsAFileInTheWayOfADirectoryThatCannotBeRead) {
  MemoryTree source{{"d/", "d/x"}};
  source.unreadable.insert("d");
  MemoryTree target{{"d"}};
  const Plan plan = make_plan(source, target, true, download_options(true));
  EXPECT_EQ(plan.problems.size(), 1u);
  EXPECT_TRUE(plan.conflicts.empty());
}

TEST(Plan, AsksForAFileWhoseListedSizeMayBeThatOfALink) {
  MemoryTree source{{"link"}};
  source.at("link").size = 10;
  MemoryTree target{{"link"}};
  const Plan plan = make_plan(source, target, true, download_options());
  ASSERT_EQ(plan.files.size(), 1u);
  EXPECT_TRUE(plan.files[0].target);
}

TEST(Plan, RemovesNoNameThatTheSourceOnlyHides) {
  MemoryTree source{{"a", ".dot", ".dir/", ".dir/x"}};
  source.hidden = {".dot", ".dir"};
  MemoryTree target{{"a", ".dot", ".dir/", ".dir/x", ".gone"}};
  const Plan plan = make_plan(source, target, true, download_options(true));
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_EQ(paths_of(plan.extras), Paths{".gone"});
}

TEST(Plan, RemovesNoNameThatNoListingCanHold) {
  MemoryTree source{{"a"}};
  MemoryTree target{{"a", "b\nc", "d\r", "e"}};
  EXPECT_EQ(paths_of(make_plan(source, target, true, download_options(true)).extras), Paths{"e"});
}

TEST(Plan, TakesAnEmptyListingForAFailureWhenANameIsThereAllTheSame) {
  MemoryTree source{{"d/", "d/x", "e/"}};
  source.hidden = {"d/x"};
  MemoryTree target{{"d/", "d/w", "d/x", "e/", "e/y"}};
  const Plan plan = make_plan(source, target, true, download_options(true));
  EXPECT_EQ(plan.problems.size(), 1u);
  EXPECT_EQ(paths_of(plan.extras), Paths{"e/y"});
}

TEST(Plan, WalksThroughDirectoriesThatLookAlike) {
  MemoryTree source{{"a/", "a/a/", "a/a/a/", "a/a/a/f"}};
  MemoryTree target{{}};
  const Plan plan = make_plan(source, target, true, download_options());
  EXPECT_TRUE(plan.left_out.empty());
  EXPECT_EQ(copied(plan), Paths{"a/a/a/f"});
}

TEST(Plan, ComparesWithTheFileBehindALinkOfTheTarget) {
  MemoryTree source{{"link"}};
  MemoryTree target{{"link/"}};
  target.file_links["link"] = make_file("link", 5, 100);
  const Plan plan = make_plan(source, target, true, upload_options());
  EXPECT_TRUE(plan.problems.empty());
  EXPECT_EQ(plan.unchanged, 1u);
}

TEST(RemoveTree, RemovesALinkAndNotWhatItLeadsTo) {
  MemoryTree tree{{"d/", "d/link/", "d/link/precious", "d/f"}};
  tree.links.insert("d/link");
  Removals told;
  remove_tree(tree, "d", "d", Filter{}, told);
  EXPECT_EQ(tree.removed, (Paths{"d/f", "d/"}));
  EXPECT_EQ(told, (Removals{{"d", true}}));
}

TEST(RemoveTree, KeepsADirectoryInWhichSomethingStays) {
  MemoryTree tree{{"d/", "d/keep.tmp", "d/sub/", "d/sub/x"}};
  Removals told;
  remove_tree(tree, "d", "d", Filter{{}, {"*.tmp"}}, told);
  EXPECT_EQ(tree.removed, (Paths{"d/sub/x", "d/sub/"}));
  EXPECT_EQ(told, (Removals{{"d/sub", true}}));
}

TEST(RemoveTree, TellsWhatIsGoneBeforeAFailure) {
  MemoryTree tree{{"d/", "d/a", "d/closed/", "d/z"}};
  tree.unreadable.insert("d/closed");
  Removals told;
  EXPECT_THROW(remove_tree(tree, "d", "d", Filter{}, told), Failure);
  EXPECT_EQ(told, (Removals{{"d/a", false}}));
}

TEST(RunParallel, RunsEveryStepOnce) {
  std::mutex mutex;
  std::multiset<std::size_t> seen;
  run_parallel(4, 100, [&](std::size_t index) {
    const std::lock_guard lock{mutex};
    seen.insert(index);
  });
  EXPECT_EQ(seen.size(), 100u);
  EXPECT_EQ(std::set<std::size_t>(seen.begin(), seen.end()).size(), 100u);
}

TEST(RunParallel, StopsWithTheFirstException) {
  std::atomic<int> runs{0};
  EXPECT_THROW(run_parallel(2, 1000000,
                            [&](std::size_t) {
                              ++runs;
                              throw Failure{ExitCode::cancelled, "cancelled"};
                            }),
               Failure);
  EXPECT_LE(runs.load(), 2);
  EXPECT_NO_THROW(run_parallel(2, 0, [](std::size_t) { throw 1; }));
}

}  // namespace
}  // namespace ftp_host
