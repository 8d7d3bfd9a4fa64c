#include "host/remote/remote_path.h"

#include <gtest/gtest.h>

#include "host/failure.h"

namespace ftp_host {
namespace {

TEST(RemoteUrl, SplitsIntoSchemeServerUserAndPath) {
  const RemoteUrl url = parse_remote_url("FTP://ann%40home@host:2121/a%20b/c");
  EXPECT_EQ(url.scheme, "ftp");
  EXPECT_EQ(url.server, "host:2121");
  EXPECT_EQ(url.user, "ann@home");
  EXPECT_EQ(url.path, "/a b/c");
  EXPECT_FALSE(url.directory);
}

TEST(RemoteUrl, GivesThePluginNeitherUserNorPath) {
  EXPECT_EQ(parse_remote_url("ftps://ann@host/dir").root(), "ftps://host");
}

TEST(RemoteUrl, KeepsTheBracketsOfAnAddress) {
  EXPECT_EQ(parse_remote_url("ftp://[::1]:21/x").server, "[::1]:21");
}

TEST(RemoteUrl, MeansTheLoginDirectoryWithoutAPath) {
  EXPECT_EQ(parse_remote_url("ftp://host").path, "/");
  EXPECT_EQ(parse_remote_url("ftp://host/").path, "/");
}

TEST(RemoteUrl, IsAbsoluteOnFtpAfterTwoSlashes) {
  EXPECT_EQ(parse_remote_url("ftp://host//etc/x").path, "//etc/x");
  EXPECT_EQ(parse_remote_url("ftp://host/%2Fetc").path, "//etc");
  EXPECT_EQ(parse_remote_url("ftp://host//").path, "//");
}

TEST(RemoteUrl, IsAlwaysAbsoluteOnSftp) { EXPECT_EQ(parse_remote_url("sftp://host//etc").path, "/etc"); }

TEST(RemoteUrl, RemembersThatTheUserMeantADirectory) {
  EXPECT_TRUE(parse_remote_url("ftp://host/a/").directory);
}

TEST(RemoteUrl, RefusesWhatItCannotServe) {
  for (const char* text : {"http://host/", "host/path", "ftp://", "ftp:///path", "ftp://:21/", "ftp://h/%4",
                           "ftp://h/%zz", "ftp://h/%00", "ftp://h:ab/", "ftp://h:0/", "ftp://h:65536/",
                           "ftp://[::1]x/", "ftp://ann:secret@h/", "ftp://ann:@h/"}) {
    try {
      (void)parse_remote_url(text);
      ADD_FAILURE() << text;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::usage) << text;
      EXPECT_EQ(std::string{failure.what()}.find("secret"), std::string::npos);
    }
  }
}

TEST(PercentDecode, TakesBothCasesAndTheLastEscape) { EXPECT_EQ(percent_decode("%4a%4A%25"), "JJ%"); }

TEST(TidyPath, ResolvesDotsWithoutLeavingTheRoot) {
  EXPECT_EQ(tidy_path("/a/./b/../c//d/", true), "/a/c/d");
  EXPECT_EQ(tidy_path("/../../a", true), "/a");
  EXPECT_EQ(tidy_path("", true), "/");
}

TEST(RemotePath, JoinsAndTakesApart) {
  EXPECT_EQ(join_path("/", "a"), "/a");
  EXPECT_EQ(join_path("//", "a"), "//a");
  EXPECT_EQ(join_path("/a", "b"), "/a/b");
  EXPECT_EQ(parent_path("/a/b"), "/a");
  EXPECT_EQ(parent_path("/a"), "/");
  EXPECT_EQ(parent_path("//a"), "//");
  EXPECT_EQ(parent_path("//a/b"), "//a");
  EXPECT_EQ(parent_path("/"), "/");
}

}  // namespace
}  // namespace ftp_host
