// Listings of the SFTP channel against OpenSSH's server: every name, time and link as on the disk.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "tests/live/sftp_channel_fixture.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {
namespace {

namespace fs = std::filesystem;
using servers::set_time;

TEST_F(SftpChannel, DeliversEveryNameAndTimeAsOnTheDisk) {
  const std::string long_name(255, 'n');
  const std::vector<std::string> names = {"plain",
                                          "two words",
                                          " leading",
                                          "   three blanks in front",
                                          "trailing ",
                                          "trailing  ",
                                          " ",
                                          ";",
                                          "a;b",
                                          "a;1577836800",
                                          ";1;",
                                          "a -> b",
                                          " -> ",
                                          "->",
                                          "a ->",
                                          "-> a",
                                          "it's",
                                          "\"quoted\"",
                                          "[brackets]",
                                          "{braces}",
                                          "back\\slash",
                                          "*?",
                                          "%41",
                                          "~",
                                          "-rf",
                                          "tab\there",
                                          "return\r",
                                          "\x01\x1b[31m",
                                          "Gr\xC3\xB6\xC3\x9F"
                                          "e",
                                          "\xF0\x9F\x98\x80",
                                          "latin\xE4",
                                          "Jan  1 12:34 x",
                                          "total 42",
                                          long_name};
  std::time_t mtime = 1577836800;
  std::map<std::string, std::time_t> want;
  for (const auto& name : names) {
    mtime += 86400 + 61;  // some within the last half year would be shown to the minute, old ones to the day
    write_file(home() / name, name, mtime);
    want[name] = mtime;
  }
  const std::time_t now = std::time(nullptr);
  for (const std::time_t age : {0, 3600, 86400, 180 * 86400, 190 * 86400}) {
    const std::string name = "age " + std::to_string(age);
    write_file(home() / name, name, now - age);
    want[name] = now - age;
  }
  write_file(home() / "last second of 32 bits", "", 2147483647);
  want["last second of 32 bits"] = 2147483647;
  write_file(home() / "first second", "", 0);
  want["first second"] = 0;
  server().hand_over();

  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  auto records = listed(channel, home().string());
  EXPECT_EQ(records.count("."), 1U);
  EXPECT_EQ(records.count(".."), 1U);
  records.erase(".");
  records.erase("..");
  EXPECT_EQ(records.size(), want.size());
  for (const auto& [name, seconds] : want) {
    ASSERT_EQ(records.count(name), 1U) << name;
    const _FS_FILE_V2& record = records[name];
    EXPECT_EQ(record.modify_time, time_of(seconds)) << name;
    EXPECT_EQ(record.attr, 1) << name;
    EXPECT_EQ(static_cast<std::uintmax_t>(record.size), fs::file_size(home() / name)) << name;
    sftp_attributes asked{};
    ASSERT_EQ(channel.stat((home() / name).string(), asked), CURLE_OK) << name;
    EXPECT_EQ(time_of(static_cast<std::time_t>(asked.mtime)), record.modify_time) << name;
  }
}

TEST_F(SftpChannel, DeliversLinksWithTheirOwnTimeAndTheKindOfTheirTarget) {
  fs::create_directory(home() / "dir");
  write_file(home() / "file", "0123456789", 5);
  std::time_t mtime = 1577836800;
  for (const std::string name : {"plain", "two words", "a;b", "a -> b", " -> ", "x -> y;1", " both "}) {
    for (const std::string target : {"dir", "file", "nowhere"}) {
      const fs::path link = home() / (name + target);
      fs::create_symlink(target, link);
      set_time(link, ++mtime);
      const fs::path blank = home() / (target + name);
      fs::create_symlink(target, blank);
      set_time(blank, ++mtime);
    }
  }
  server().hand_over();
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  auto records = listed(channel, home().string());
  std::size_t links = 0;
  for (const auto& entry : fs::directory_iterator{home()}) {
    if (!entry.is_symlink()) continue;
    ++links;
    const std::string name = entry.path().filename().string();
    const std::string target = fs::read_symlink(entry.path()).string();
    ASSERT_EQ(records.count(name), 1U) << name;
    const _FS_FILE_V2& record = records[name];
    struct stat own {};
    ASSERT_EQ(lstat(entry.path().c_str(), &own), 0);
    EXPECT_EQ(record.modify_time, time_of(own.st_mtime)) << name;
    if (target == "dir") {
      EXPECT_EQ(record.attr, 2) << name;
      EXPECT_EQ(record.size, 0) << name;
    } else if (target == "file") {
      EXPECT_EQ(record.attr, 1) << name;
      EXPECT_EQ(record.size, 4) << name << ": a link's size is the length of its target";
    } else {
      // A link to nowhere has no kind. Where its name holds an arrow it is listed as a file: the parser would
      // cut the name of a link there.
      EXPECT_EQ(record.attr, name.find(" -> ") != std::string::npos ? 1 : 0) << name;
    }
  }
  EXPECT_EQ(links, 42U);
}

TEST_F(SftpChannel, LeavesOutNamesThatHoldALineFeed) {
  write_file(home() / "a\n-rw-r--r-- 1 0 0 5 Jan  1 2020 forged", "x", 1);
  write_file(home() / "b", "x", 1);
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  const auto records = listed(channel, home().string());
  EXPECT_EQ(records.size(), 3U) << "the two dots and b";
  EXPECT_EQ(records.count("b"), 1U);
}

TEST_F(SftpChannel, ListsEveryKindOfEntry) {
  fs::create_directory(home() / "d");
  ASSERT_EQ(mkfifo((home() / "p").c_str(), 0600), 0);
  write_file(home() / "e", "", 1);
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  auto records = listed(channel, home().string());
  EXPECT_EQ(records["d"].attr, 2);
  EXPECT_EQ(records["p"].attr, 1);
  EXPECT_EQ(records["e"].attr, 1);
  EXPECT_EQ(records["."].attr, 2);
  EXPECT_EQ(records[".."].attr, 2);
}

TEST_F(SftpChannel, ListsTheMachinesOwnDirectories) {
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  const auto names_in = [](const std::string& path) {
    std::set<std::string> names{".", ".."};
    for (const auto& entry : fs::directory_iterator{path}) names.insert(entry.path().filename().string());
    return names;
  };
  for (const std::string path : {"/", "/dev", "/etc", "/usr/lib"}) {
    const auto before = names_in(path);
    const auto records = listed(channel, path);
    const auto after = names_in(path);  // others may be at work on this machine
    for (const auto& name : before) EXPECT_TRUE(records.contains(name) || !after.contains(name)) << name;
    for (const auto& [name, record] : records)
      EXPECT_TRUE(before.contains(name) || after.contains(name)) << name;
  }
}

TEST_F(SftpChannel, ListsALargeDirectoryWhole) {
  fs::create_directory(home() / "large");
  for (int n = 0; n < 5000; ++n) std::ofstream{home() / "large" / ("file number " + std::to_string(n))};
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  EXPECT_EQ(listed(channel, (home() / "large").string()).size(), 5002U);
}

TEST_F(SftpChannel, ClosesEveryDirectoryItReads) {
  fs::create_directory(home() / "d");
  const server_settings settings = login_settings(server());
  const std::size_t before = server().logins();
  sftp_channel channel{settings};
  sftp_listing body;
  for (int n = 0; n < 250; ++n) ASSERT_EQ(channel.list("d", body), CURLE_OK) << n;  // the server opens 100
  EXPECT_EQ(server().logins() - before, 1U);
}

TEST_F(SftpChannel, PutsTheListingInThePlaceOfAnEarlierOne) {
  fs::create_directory(home() / "d");
  const server_settings settings = login_settings(server());
  sftp_channel channel{settings};
  sftp_listing once;
  sftp_listing twice;
  ASSERT_EQ(channel.list("d", once), CURLE_OK);
  ASSERT_EQ(channel.list("d", twice), CURLE_OK);
  ASSERT_EQ(channel.list("d", twice), CURLE_OK);
  EXPECT_EQ(once.text(), twice.text());
}

}  // namespace
}  // namespace ftp_plugin
