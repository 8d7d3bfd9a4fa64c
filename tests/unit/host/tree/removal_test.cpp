#include "host/tree/removal.h"

#include <gtest/gtest.h>

#include "tests/unit/host/memory_tree.h"

namespace ftp_host {
namespace {

using Paths = std::vector<std::string>;

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

TEST(RemoveTree, RemovesATopThatIsALink) {
  MemoryTree tree{{"link/", "link/precious"}};
  tree.links.insert("link");
  Removals told;
  remove_tree(tree, "link", "x/link", Filter{}, told);
  EXPECT_EQ(tree.removed, Paths{});
  EXPECT_EQ(told, (Removals{{"x/link", true}}));
}

}  // namespace
}  // namespace ftp_host
