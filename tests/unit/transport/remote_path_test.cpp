#include "transport/remote_path.h"

#include <gtest/gtest.h>

namespace ftp_plugin {
namespace {

struct PathCase {
  const char* label;
  path_rules rules;
  const char* url;
  const char* id;
  const char* path;
};

constexpr auto kServer = path_origin::kServerRoot;
constexpr auto kLogin = path_origin::kLoginDirectory;
constexpr auto kHome = path_origin::kHomeDirectory;

constexpr PathCase kPathCases[] = {
    {"FtpRootStays", {"", kLogin}, "", "/", "/"},
    {"FtpDropsTheLeadingSlash", {"", kLogin}, "", "/x", "x"},
    {"FtpAddsNoSlashThatStays", {"", kLogin}, "", "x", "x"},
    {"FtpBelowARootPath", {"/data", kLogin}, "", "/docs/a.txt", "data/docs/a.txt"},
    {"FtpNullIsTheRoot", {"", kLogin}, "", nullptr, "/"},
    {"FtpWithTheUrlInFront", {"/d", kLogin}, "ftp://h", "x", "ftp://h/d/x"},
    {"AUrlThatEndsInASlashDoublesIt", {"/d", kLogin}, "ftp://h/", "x", "ftp://h//d/x"},
    {"SftpStaysAbsolute", {"/home/u", kServer}, "", "/x", "/home/u/x"},
    {"SftpFromTheHomeDirectory", {"", kHome}, "", "/x", "x"},
    {"SftpHomeItself", {"", kHome}, "", "/", ""},
    {"NothingKnownKeepsEverything", {}, "", "x", "/x"},
    {"SlashesInsideAreKept", {"", kLogin}, "", "//a//b/", "/a//b/"},
};

class RemotePath : public testing::TestWithParam<PathCase> {};

TEST_P(RemotePath, IsPutTogetherFromItsPieces) {
  const PathCase& want = GetParam();
  EXPECT_EQ(url_path(want.rules, want.url, want.id), want.path);
  if (*want.url == '\0') {
    EXPECT_EQ(command_path(want.rules, want.id), want.path);
  }
}

INSTANTIATE_TEST_SUITE_P(, RemotePath, testing::ValuesIn(kPathCases),
                         [](const auto& row) { return row.param.label; });

TEST(RequestUrl, OnlyThePathBehindTheServerIsEncoded) {
  EXPECT_EQ(encode_behind("ftp://u@h:21", "ftp://u@h:21/a b/~c"), "ftp://u@h:21/a%20b/%7Ec");
  EXPECT_EQ(encode_behind("ftp://h", "ftp://h"), "ftp://h");
}

TEST(RequestUrl, AUrlShorterThanTheServerGivesTheServer) {
  EXPECT_EQ(encode_behind("ftp://host", "ftp"), "ftp://host");
}

}  // namespace
}  // namespace ftp_plugin
