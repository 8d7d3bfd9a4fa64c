#include "host/remote/link_loops.h"

#include <gtest/gtest.h>

#include <map>

namespace ftp_host {
namespace {

_FS_FILE_V2 record(const std::string& id, const std::string& name, std::uint32_t attr = FS_ATTR_FILE) {
  _FS_FILE_V2 out;
  out.id = id;
  out.name = name;
  out.attr = attr;
  out.size = 7;
  out.modify_time = "2024-03-05T07:08:09.000Z";
  return out;
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
  const Listing top = make_listing("/", {record("/./loop", "loop", 2), record("/./f", "f")});
  const Listing again = make_listing("/loop", {record("/loop/loop", "loop", 2), record("/loop/f", "f")});
  WalkPath path{[&](const std::string&) { return std::optional{again}; }};
  EXPECT_TRUE(path.enter(top, "/"));
  EXPECT_FALSE(path.enter(again, "/loop"));
  path.leave();
  EXPECT_TRUE(path.enter(again, "/loop"));
}

TEST(WalkPath, LetsDirectoriesThatHoldOneOfTheSameNamePass) {
  const auto level = [](const std::string& place) {
    return make_listing(place, {record(place + "/a", "a", 2)});
  };
  WalkPath path =
      walk_over({{"/", level("/.")}, {"/a", level("/a")}, {"/a/a", level("/a/a")}, {"/a/a/a", {}}});
  EXPECT_TRUE(path.enter(level("/."), "/"));
  EXPECT_TRUE(path.enter(level("/a"), "/a"));
  EXPECT_TRUE(path.enter(level("/a/a"), "/a/a"));
}

TEST(WalkPath, NoticesALinkWhereTheServerFollowsOnlyAFew) {
  const auto listing = [](const std::string& place, const std::string& name) {
    return make_listing(place, {record(place + "/" + name, name, 2)});
  };
  // "up" leads back to the top; behind two of them the server refuses.
  WalkPath path =
      walk_over({{"/d/up/d", listing("/d/up/d", "up")}, {"/d/up/d/up", listing("/d/up/d/up", "d")}});
  EXPECT_TRUE(path.enter(listing("/.", "d"), "/"));
  EXPECT_TRUE(path.enter(listing("/d", "up"), "/d"));
  EXPECT_FALSE(path.enter(listing("/d/up", "d"), "/d/up"));
}

TEST(WalkPath, GoesTheSuspectedWayOftenAndNotBeyondWhatServersFollow) {
  std::string asked;
  const auto listing = [](const std::string& place) {
    return make_listing(place, {record(place + "/l", "l", 2)});
  };
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
  EXPECT_TRUE(path.enter(make_listing("/", {record("/./f", "f")}), "/"));
  EXPECT_TRUE(path.enter(make_listing("/d", {record("/d/f", "f")}), "/d"));
  EXPECT_TRUE(path.enter({}, "/d/e"));
  EXPECT_TRUE(path.enter({}, "/d/e/g"));
}

}  // namespace
}  // namespace ftp_host
