#include "host/tree/tree.h"

#include <gtest/gtest.h>

#include "tests/unit/host/memory_tree.h"

namespace ftp_host {
namespace {

TEST(TreePath, JoinsAndTakesApart) {
  EXPECT_EQ(path_below("", "a"), "a");
  EXPECT_EQ(path_below("a/b", "c"), "a/b/c");
  EXPECT_EQ(leaf_name("/a/b"), "b");
  EXPECT_EQ(leaf_name("a"), "a");
  EXPECT_EQ(leaf_name("/"), "");
}

TEST(FindEntry, FindsByTheWholeName) {
  MemoryTree tree{{"ab", "b"}};
  const Listing listing = tree.list("");
  ASSERT_NE(find_entry(listing, "b"), nullptr);
  EXPECT_EQ(find_entry(listing, "b")->id, "b");
  EXPECT_EQ(find_entry(listing, "a"), nullptr);
}

TEST(ListOrResolve, ListsADirectory) {
  MemoryTree tree{{"d/", "d/f"}};
  Entry entry = tree.at("d");
  const auto listing = list_or_resolve(tree, entry);
  ASSERT_TRUE(listing);
  EXPECT_EQ(listing->entries.size(), 1u);
  EXPECT_TRUE(entry.directory);
}

TEST(ListOrResolve, TurnsALinkToAFileIntoThatFile) {
  MemoryTree tree{{"link/"}};
  tree.unreadable.insert("link");
  tree.file_links["link"] = make_file("target", 7, 100);
  Entry entry = tree.at("link");
  EXPECT_FALSE(list_or_resolve(tree, entry));
  EXPECT_EQ(entry.name, "link");
  EXPECT_EQ(entry.size, 7);
  EXPECT_FALSE(entry.directory);
}

TEST(ListOrResolve, ThrowsTheFailureOfTheListing) {
  MemoryTree tree{{"d/"}};
  tree.unreadable.insert("d");
  Entry entry = tree.at("d");
  try {
    (void)list_or_resolve(tree, entry);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "d");
  }
  EXPECT_TRUE(entry.directory);
}

}  // namespace
}  // namespace ftp_host
