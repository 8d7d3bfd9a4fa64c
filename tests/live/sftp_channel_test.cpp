// The SFTP channel against OpenSSH's server.
#include "transport/sftp/sftp_channel.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "tests/fakes/relay.h"
#include "tests/live/sftp_channel_fixture.h"

namespace ftp_plugin {
namespace {

namespace fs = std::filesystem;
using fakes::Relay;

TEST_F(SftpChannel, TellsTheSevenFieldsOfAFile) {
  write_file(home() / "f", "hello", 1577836805);
  server().hand_over();
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat((home() / "f").string(), got), CURLE_OK);
  struct stat want {};
  ASSERT_EQ(stat((home() / "f").c_str(), &want), 0);
  EXPECT_EQ(got.flags & 0xF, 0xFU);
  EXPECT_EQ(got.filesize, 5U);
  EXPECT_EQ(got.uid, want.st_uid);
  EXPECT_EQ(got.gid, want.st_gid);
  EXPECT_EQ(got.permissions, want.st_mode);
  EXPECT_EQ(got.mtime, 1577836805U);
  EXPECT_EQ(got.atime, 1577836805U);
}

TEST_F(SftpChannel, HandsTheRecordToAWriteCallback) {
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_attributes want{};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat("/", want), CURLE_OK);
  ASSERT_EQ(channel.stat("/", &write_attrs, &got), CURLE_OK);
  EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0);
  const auto refuse = [](void*, std::size_t, std::size_t, void*) -> std::size_t { return 0; };
  EXPECT_EQ(channel.stat("/", refuse, nullptr), CURLE_WRITE_ERROR);
}

TEST_F(SftpChannel, LogsInAgainAfterItWasClosed) {
  const server_settings settings = login_settings(server());
  const std::size_t before = server().logins();
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_OK);
  channel.close();
  channel.close();
  EXPECT_EQ(channel.stat("/", got), CURLE_OK);
  EXPECT_EQ(server().logins() - before, 2U);
}

TEST_F(SftpChannel, TellsWhatALinkLeadsTo) {
  fs::create_directory(home() / "d");
  fs::create_directory_symlink("d", home() / "l");
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat((home() / "l").string(), got), CURLE_OK);
  EXPECT_EQ(got.permissions & kSftpKindMask, kSftpDirectory);
}

TEST_F(SftpChannel, TellsThatADanglingLinkOrALoopLeadsNowhere) {
  fs::create_symlink("nothing", home() / "dangling");
  fs::create_symlink("loop", home() / "loop");
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat((home() / "dangling").string(), got), CURLE_REMOTE_FILE_NOT_FOUND);
  EXPECT_EQ(channel.stat((home() / "loop").string(), got), CURLE_REMOTE_FILE_NOT_FOUND);
}

TEST_F(SftpChannel, GivesTheCodesOfLibcurlForRefusals) {
  fs::create_directories(home() / "closed/inside");
  write_file(home() / "f", "x", 1);
  server().hand_over();
  fs::permissions(home() / "closed", fs::perms::none);
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_attributes got{1, 2, 3, 4, 5, 6, 7};
  sftp_listing body;
  EXPECT_EQ(channel.stat((home() / "nothing").string(), got), CURLE_REMOTE_FILE_NOT_FOUND);
  EXPECT_EQ(channel.stat((home() / "closed/inside").string(), got), CURLE_REMOTE_ACCESS_DENIED);
  EXPECT_EQ(got.mtime, 7U) << "a refusal leaves the record as it was";
  EXPECT_EQ(channel.list((home() / "nothing").string(), body), CURLE_REMOTE_FILE_NOT_FOUND);
  EXPECT_EQ(channel.list((home() / "closed").string(), body), CURLE_REMOTE_ACCESS_DENIED);
  EXPECT_EQ(channel.list((home() / "f").string(), body), CURLE_REMOTE_FILE_NOT_FOUND) << "not a directory";
  EXPECT_EQ(body.text(), "");
  fs::permissions(home() / "closed", fs::perms::owner_all);
}

TEST_F(SftpChannel, KeepsItsLoginThroughRefusals) {
  const server_settings settings = login_settings(server());
  const std::size_t before = server().logins();
  sftp_channel channel{settings};
  sftp_attributes got{};
  for (int n = 0; n < 5; ++n) {
    EXPECT_EQ(channel.stat("/nothing", got), CURLE_REMOTE_FILE_NOT_FOUND);
    EXPECT_EQ(channel.stat("/", got), CURLE_OK);
  }
  EXPECT_EQ(server().logins() - before, 1U);
}

TEST_F(SftpChannel, SaysNothingBeforeTheFirstRequest) {
  const server_settings settings = login_settings(server());
  const Relay relay{server().host(), server().port()};
  const server_settings over_relay = through(settings, relay);
  { const sftp_channel channel{over_relay}; }
  EXPECT_EQ(relay.connections(), 0U);
}

TEST_F(SftpChannel, TakesAPathWithoutASlashFromTheHomeDirectory) {
  write_file(home() / "f", "abc", 1);
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("f", got), CURLE_OK);
  EXPECT_EQ(got.filesize, 3U);
  EXPECT_EQ(channel.stat("", got), CURLE_OK);
  EXPECT_EQ(got.permissions & kSftpKindMask, kSftpDirectory);
  for (const std::string path : {"", ".", "/~", "/~/"})
    EXPECT_EQ(listed(channel, path).count("f"), 1U) << path;
  EXPECT_EQ(channel.stat("/~/f", got), CURLE_OK);
  EXPECT_EQ(channel.stat("/~f", got), CURLE_REMOTE_FILE_NOT_FOUND) << "an ordinary name";
}

}  // namespace
}  // namespace ftp_plugin
