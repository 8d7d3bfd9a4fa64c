#include "host/remote/session.h"

#include <gtest/gtest.h>

#include <map>

#include "host/plugin_log.h"
#include "host/remote/link_loops.h"

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

TEST(Listing, SortsAndFillsEntries) {
  const Listing listing = make_listing("/d", {record("/d/b", "b"), record("/d/a", "a", FS_ATTR_DIRECTORY)});
  ASSERT_EQ(listing.entries.size(), 2u);
  EXPECT_EQ(listing.entries[0].id, "/d/a");
  EXPECT_TRUE(listing.entries[0].directory);
  EXPECT_EQ(listing.entries[0].size, 0);
  EXPECT_EQ(listing.entries[1].size, 7);
  EXPECT_EQ(listing.entries[1].time, 1709622489);
}

TEST(Listing, DropsHostileNamesAndCountsThem) {
  const Listing listing =
      make_listing("/d", {record("/d/.", ".", 2), record("/d/..", "..", 2), record("/d/", ""),
                          record("/d/../../etc/passwd", "../../etc/passwd"), record("/d/a/b", "b"),
                          record("/d/x", "x/y"), record("/d/ok", "ok")});
  ASSERT_EQ(listing.entries.size(), 1u);
  EXPECT_EQ(listing.entries[0].name, "ok");
  EXPECT_EQ(listing.hostile, 3u);
}

TEST(Listing, DropsANameWhoseConvertedFormIsHostile) {
  EXPECT_EQ(make_listing("/", {record("/./raw", "..")}).entries.size(), 0u);
}

TEST(Listing, TakesARepeatedNameOnce) {
  EXPECT_EQ(make_listing("/", {record("/./a", "a"), record("/./a", "a")}).entries.size(), 1u);
}

TEST(Listing, AddressesAnEntryByTheServersBytes) {
  const Listing listing = make_listing("/d", {record("/d/caf\xE9", "caf\xC3\xA9")});
  ASSERT_EQ(listing.entries.size(), 1u);
  EXPECT_EQ(listing.entries[0].id, "/d/caf\xE9");
  EXPECT_EQ(listing.entries[0].name, "caf\xC3\xA9");
}

TEST(Listing, AddressesTheLoginDirectoryWithoutItsDot) {
  EXPECT_EQ(make_listing("/", {record("/./a", "a")}).entries.at(0).id, "/a");
}

TEST(Listing, KeepsAbsolutePathsAbsolute) {
  EXPECT_EQ(make_listing("//", {record("///a", "a")}).entries.at(0).id, "//a");
  EXPECT_EQ(make_listing("//etc", {record("//etc/a", "a")}).entries.at(0).id, "//etc/a");
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

TEST(OperationLog, ExplainsWithTheServersRefusal) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION]   Trying 127.0.0.1:21...\n");
  EXPECT_FALSE(log.server_spoke);
  note_log_line(log, "[NETWORK   ] [INFORMATION] Connected to h (127.0.0.1) port 21 (#0)\n");
  EXPECT_TRUE(log.server_spoke);
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 530 Login incorrect.\r\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Access denied: 530\n");
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 221 Goodbye.\r\n");
  EXPECT_EQ(log.explanation(), "530 Login incorrect.");
}

TEST(OperationLog, NoticesAListingThatTheServerCouldNotMake) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 226 Directory send OK.\r\n");
  EXPECT_FALSE(log.listing_failed);
  note_log_line(log, "[NETWORK   ] [HEADER   >>] 226 Transfer done (but failed to open directory).\r\n");
  EXPECT_TRUE(log.listing_failed);
  EXPECT_EQ(log.explanation(), "226 Transfer done (but failed to open directory).");
}

TEST(OperationLog, IsNotExplainedByTheEndOfTls) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION] path contains control characters\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] TLSv1.2 (OUT), TLS alert, close notify (256):\n");
  EXPECT_EQ(log.explanation(), "path contains control characters");
}

TEST(OperationLog, ExplainsASilentServerWithThePluginsOwnLine) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION] SSH authentication methods available: password\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Initialized password authentication\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Authentication complete\n");
  EXPECT_EQ(log.explanation(), "");
  note_log_line(log, "[PROTOCOL  ] read_dir id: [/exec error: [78]] , exec error: [9]\n");
  EXPECT_EQ(log.explanation(), "access denied");
  note_log_line(log, "[PROTOCOL  ] sftp_stat id: [/x] , exec error: [78]\n");
  EXPECT_EQ(log.explanation(), "no such file or directory");
  note_log_line(log, "[PROTOCOL  ] _Delete id: [/x] , exec error: [21]\n");
  EXPECT_EQ(log.explanation(), "the name cannot be sent");
  note_log_line(log, "[PROTOCOL  ] read_dir id: [/x] , exec error: [79]\n");
  EXPECT_EQ(log.explanation(), "the transport's code 79");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Authentication failure\n");
  EXPECT_EQ(log.explanation(), "Authentication failure");
}

TEST(OperationLog, ExplainsWithTheTransportWhenNobodyAnswered) {
  OperationLog log;
  note_log_line(log, "[NETWORK   ] [INFORMATION] Could not resolve host: nowhere\n");
  note_log_line(log, "[NETWORK   ] [INFORMATION] Closing connection 0\n");
  EXPECT_FALSE(log.server_spoke);
  EXPECT_EQ(log.explanation(), "Could not resolve host: nowhere");
}

}  // namespace
}  // namespace ftp_host
