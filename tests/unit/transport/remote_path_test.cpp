#include "transport/remote_path.h"

#include <gtest/gtest.h>

namespace ftp_plugin {
namespace {

struct PathCase {
  const char* label;
  settings_map settings;
  const char* base;
  const char* id;
  const char* path;
};

const PathCase kPathCases[] = {
    {"FtpRootStays", {{"type", "ftp"}}, "", "/", "/"},
    {"FtpDropsTheLeadingSlash", {{"type", "ftp"}}, "", "/x", "x"},
    {"FtpAddsNoSlashThatStays", {{"type", "ftp"}}, "", "x", "x"},
    {"FtpBelowARootPath", {{"type", "ftp"}, {"root_path", "/data"}}, "", "/docs/a.txt", "data/docs/a.txt"},
    {"FtpNullIsTheRoot", {{"type", "ftp"}}, "", nullptr, "/"},
    {"FtpWithTheUrlInFront", {{"type", "ftp"}, {"root_path", "/d"}}, "ftp://h", "x", "ftp://h/d/x"},
    {"AUrlThatEndsInASlashDoublesIt",
     {{"type", "ftp"}, {"root_path", "/d"}},
     "ftp://h/",
     "x",
     "ftp://h//d/x"},
    {"SftpStaysAbsolute", {{"type", "sftp"}, {"root_path", "/home/u"}}, "", "/x", "/home/u/x"},
    {"SftpFromTheHomeDirectory", {{"type", "sftp"}, {"sftp_root", "false"}}, "", "/x", "x"},
    {"SftpHomeItself", {{"type", "sftp"}, {"sftp_root", "false"}}, "", "/", ""},
    {"NoTypeKeepsEverything", {}, "", "x", "/x"},
    {"SlashesInsideAreKept", {{"type", "ftp"}}, "", "//a//b/", "/a//b/"},
};

class RemotePath : public testing::TestWithParam<PathCase> {};

TEST_P(RemotePath, IsPutTogetherFromItsPieces) {
  const PathCase& want = GetParam();
  EXPECT_EQ(join_remote_path(want.settings, want.base, want.id), want.path);
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
