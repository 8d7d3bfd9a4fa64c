#include "listing/sftp_listing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ftp_plugin {
namespace {

constexpr std::uint64_t kAll = kSftpHasSize | kSftpHasOwner | kSftpHasPermissions | kSftpHasTimes;

sftp_entry entry(std::string_view name, std::uint64_t mode = 0100644) {
  return {name, "", {kAll, 5, 1, 2, mode, 0, 0}};
}

/// Answers each question with the same target, and keeps the questions.
class Links {
 public:
  explicit Links(std::optional<sftp_attributes> target) : target_{target} {}
  link_lookup lookup() {
    return [this](std::string_view name) {
      asked.emplace_back(name);
      return target_;
    };
  }
  std::vector<std::string> asked;

 private:
  std::optional<sftp_attributes> target_;
};

TEST(SftpListing, HasALineForEachEntryInTheirOrder) {
  Links links{std::nullopt};
  sftp_listing listing;
  listing.begin();
  listing.take(entry("b"), links.lookup());
  listing.take(entry("a", 0040755), links.lookup());
  EXPECT_EQ(listing.text(),
            "-rw-r--r-- 1 1 2 5 Jan  1 1970 b;0\n"
            "drwxr-xr-x 1 1 2 5 Jan  1 1970 a;0\n");
  EXPECT_STREQ(listing.release_text().get(),
               "-rw-r--r-- 1 1 2 5 Jan  1 1970 b;0\n"
               "drwxr-xr-x 1 1 2 5 Jan  1 1970 a;0\n");
}

TEST(SftpListing, OfNothingIsNoText) {
  sftp_listing listing;
  listing.begin();
  EXPECT_EQ(listing.text(), "");
  EXPECT_EQ(listing.release_text(), nullptr);
}

TEST(SftpListing, BeginsAnewWithASessionThatWasLost) {
  Links links{std::nullopt};
  sftp_listing listing;
  listing.begin();
  listing.take(entry("a"), links.lookup());
  listing.take(entry("two\nlines"), links.lookup());
  listing.begin();
  EXPECT_EQ(listing.left_out(), 0U);
  listing.take(entry("a"), links.lookup());
  EXPECT_EQ(listing.text(), "-rw-r--r-- 1 1 2 5 Jan  1 1970 a;0\n");
}

TEST(SftpListing, CountsTheNamesThatFitNoLineAndLeavesThemOut) {
  Links links{std::nullopt};
  sftp_listing listing;
  listing.begin();
  listing.take(entry("two\nlines"), links.lookup());
  listing.take(entry({"a\0b", 3}), links.lookup());
  listing.take(entry("a"), links.lookup());
  EXPECT_EQ(listing.left_out(), 2U);
  EXPECT_EQ(listing.text(), "-rw-r--r-- 1 1 2 5 Jan  1 1970 a;0\n");
}

TEST(SftpListing, AsksOnlyForTheTargetsOfLinksWithAnArrowInTheirName) {
  Links links{sftp_attributes{kAll, 77, 1, 2, 0040755, 9, 9}};
  sftp_listing listing;
  listing.begin();
  listing.take(entry("l", 0120777), links.lookup());
  listing.take(entry("a -> b"), links.lookup());
  listing.take(entry("c -> d", 0120777), links.lookup());
  EXPECT_EQ(links.asked, std::vector<std::string>{"c -> d"});
  EXPECT_EQ(listing.text(),
            "lrwxrwxrwx 1 1 2 5 Jan  1 1970 l;0\n"
            "-rw-r--r-- 1 1 2 5 Jan  1 1970 a -> b;0\n"
            "drwxrwxrwx 1 1 2 0 Jan  1 1970 c -> d;0\n");
}

TEST(SftpListing, ListsALinkThatLeadsNowhereAsAFile) {
  Links links{std::nullopt};
  sftp_listing listing;
  listing.begin();
  listing.take(entry("c -> d", 0120777), links.lookup());
  EXPECT_EQ(listing.text(), "-rwxrwxrwx 1 1 2 5 Jan  1 1970 c -> d;0\n");
}

}  // namespace
}  // namespace ftp_plugin
