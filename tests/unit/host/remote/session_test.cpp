#include "host/remote/session.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace ftp_host
