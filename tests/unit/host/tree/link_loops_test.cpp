#include "host/tree/link_loops.h"

#include <gtest/gtest.h>

#include <map>

namespace ftp_host {
namespace {

/// What the directory at `place` holds: "a/" is a directory, "f" a file.
Listing listing_of(const std::string& place, const std::vector<std::string>& names) {
  Listing listing;
  for (std::string name : names) {
    Entry entry;
    entry.directory = name.ends_with('/');
    if (entry.directory) name.pop_back();
    entry.name = name;
    entry.id = (place == "/" ? "" : place) + "/" + name;
    entry.size = entry.directory ? 0 : 7;
    entry.time = 1709622489;
    listing.entries.push_back(entry);
  }
  return listing;
}

/// A walk over directories whose listings are `at`.
WalkPath walk_over(std::map<std::string, Listing> at) {
  return WalkPath{[at = std::move(at)](const std::string& place) -> std::optional<Listing> {
    const auto found = at.find(place);
    if (found == at.end()) return std::nullopt;
    return found->second;
  }};
}

TEST(WalkPath, NoticesALinkToADirectoryAbove) {
  const Listing top = listing_of("/", {"f", "loop/"});
  const Listing again = listing_of("/loop", {"f", "loop/"});
  WalkPath path{[&](const std::string&) { return std::optional{again}; }};
  EXPECT_TRUE(path.enter(top, "/"));
  EXPECT_FALSE(path.enter(again, "/loop"));
  path.leave();
  EXPECT_TRUE(path.enter(again, "/loop"));
}

TEST(WalkPath, LetsDirectoriesThatHoldOneOfTheSameNamePass) {
  const auto level = [](const std::string& place) { return listing_of(place, {"a/"}); };
  WalkPath path =
      walk_over({{"/", level("/")}, {"/a", level("/a")}, {"/a/a", level("/a/a")}, {"/a/a/a", {}}});
  EXPECT_TRUE(path.enter(level("/"), "/"));
  EXPECT_TRUE(path.enter(level("/a"), "/a"));
  EXPECT_TRUE(path.enter(level("/a/a"), "/a/a"));
}

TEST(WalkPath, NoticesALinkWhereTheServerFollowsOnlyAFew) {
  const auto listing = [](const std::string& place, const std::string& name) {
    return listing_of(place, {name + "/"});
  };
  // "up" leads back to the top; behind two of them the server refuses.
  WalkPath path =
      walk_over({{"/d/up/d", listing("/d/up/d", "up")}, {"/d/up/d/up", listing("/d/up/d/up", "d")}});
  EXPECT_TRUE(path.enter(listing("/", "d"), "/"));
  EXPECT_TRUE(path.enter(listing("/d", "up"), "/d"));
  EXPECT_FALSE(path.enter(listing("/d/up", "d"), "/d/up"));
}

TEST(WalkPath, FollowsASuspectedLinkOftenAndNotForEver) {
  std::string asked;
  const auto listing = [](const std::string& place) { return listing_of(place, {"l/"}); };
  WalkPath path{[&](const std::string& place) {
    asked = place;
    return std::optional{listing(place)};
  }};
  EXPECT_TRUE(path.enter(listing("//d"), "//d"));
  EXPECT_FALSE(path.enter(listing("//d/x/l"), "//d/x/l"));
  EXPECT_EQ(asked.substr(0, 16), "//d/x/l/x/l/x/l/");
  EXPECT_LT(asked.size(), 60u);
  EXPECT_FALSE(path.enter(listing("//d/l"), "//d/" + std::string(250, 'l')));
  EXPECT_LT(asked.size(), 1200u);
}

TEST(WalkPath, LetsEqualDirectoriesWithoutSubdirectoriesPass) {
  WalkPath path = walk_over({});
  EXPECT_TRUE(path.enter(listing_of("/", {"f"}), "/"));
  EXPECT_TRUE(path.enter(listing_of("/d", {"f"}), "/d"));
  EXPECT_TRUE(path.enter({}, "/d/e"));
  EXPECT_TRUE(path.enter({}, "/d/e/g"));
}

}  // namespace
}  // namespace ftp_host
