// The SFTP channel against OpenSSH's server.
#include "transport/sftp/sftp_channel.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <thread>

#include "common/time_text.h"
#include "listing/basic_line.h"
#include "listing/reply_lines.h"
#include "listing/sftp_listing.h"
#include "tests/fakes/relay.h"
#include "tests/servers/sshd.h"

namespace ftp_plugin {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using fakes::Relay;
using servers::Sshd;
using testing::AnyOf;
using testing::HasSubstr;

server_settings login_settings(const Sshd& server) {
  return read_settings({{key::type, "sftp"},
                        {key::url, server.url()},
                        {key::user, server.user()},
                        {key::pwd, server.password()}});
}

settings_map key_settings(const Sshd& server, const std::string& kind) {
  return {{key::type, "sftp"},
          {key::url, server.url()},
          {key::user, server.user()},
          {key::key_file, server.key_file(kind)}};
}

server_settings through(server_settings settings, const Relay& relay) {
  settings.url = "sftp://127.0.0.1:" + std::to_string(relay.port());
  return settings;
}

void write_file(const fs::path& file, const std::string& bytes, std::time_t mtime) {
  std::ofstream{file, std::ios::binary} << bytes;
  const timespec times[2] = {{mtime, 0}, {mtime, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << file;
}

void set_time(const fs::path& path, std::time_t mtime) {
  const timespec times[2] = {{mtime, 0}, {mtime, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

/// The listing of `path` as the host gets it: names to records, by the parser and with links followed.
std::map<std::string, _FS_FILE_V2> listed(sftp_channel& channel, const std::string& path) {
  sftp_listing listing;
  EXPECT_EQ(channel.list(path, listing), CURLE_OK);
  const std::function<void(const std::string&, _FS_FILE_V2&)> follow = [&](const std::string& link,
                                                                           _FS_FILE_V2& target) {
    sftp_attributes attributes{};
    if (channel.stat(link, attributes) != CURLE_OK) return;
    target.attr = (attributes.permissions & 0x4000) != 0 ? 2 : 1;
    if (target.attr == 1) target.size = static_cast<long long>(attributes.filesize);
  };
  std::map<std::string, _FS_FILE_V2> records;
  std::size_t lines = 0;
  reply_lines each{listing.text()};
  for (std::string_view line; each.next(line); ++lines) {
    _FS_FILE_V2 record{};
    basic_line_context context;
    context.path = path.c_str();
    context.is_sftp = true;
    context.follow_link = &follow;
    EXPECT_TRUE(parse_basic_line(line, context, record)) << line;
    records[record.name] = record;
  }
  EXPECT_EQ(records.size(), lines) << "names came out twice";
  return records;
}

std::string time_of(std::time_t seconds) { return TimeToRFC3339(seconds); }

class SftpChannel : public testing::Test {
 protected:
  static Sshd& server() {
    static Sshd running{{.keyboard_interactive = true, .time_zone = "Asia/Kolkata"}};
    return running;
  }
  static void TearDownTestSuite() {}

  void SetUp() override {
    for (const auto& entry : fs::directory_iterator{server().home()}) fs::remove_all(entry);
  }
  static fs::path home() { return server().home(); }
};

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

// Logging in.

TEST_F(SftpChannel, IsRefusedWithAWrongPassword) {
  server_settings settings = login_settings(server());
  settings.login.password = "wrong";
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_LOGIN_DENIED);
}

TEST_F(SftpChannel, IsRefusedWithoutAUser) {
  const server_settings settings = read_settings({{key::type, "sftp"}, {key::url, server().url()}});
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_LOGIN_DENIED);
}

TEST_F(SftpChannel, LogsInWithTheCredentialsOfTheUrl) {
  std::string url = server().url();
  url.insert(url.find("//") + 2, "tester:p%40ss%20word@");
  const server_settings settings = read_settings({{key::type, "sftp"}, {key::url, url}});
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_OK);
}

TEST(SftpChannelLogin, AnswersPromptsWithThePassword) {
  const Sshd server{{.password = false, .keyboard_interactive = true}};
  server_settings settings = login_settings(server);
  sftp_attributes got{};
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
  EXPECT_THAT(server.log(), HasSubstr("Accepted keyboard-interactive"));
  settings.login.password += "\0what libcurl does not read"s;
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
  settings.login.password = "wrong";
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_LOGIN_DENIED);
}

TEST(SftpChannelLogin, WorksOverIpv6) {
  const Sshd server{{.ipv6 = true}};
  const server_settings settings = login_settings(server);
  sftp_attributes got{};
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
}

TEST(SftpChannelLogin, TriesTheUsersOwnKeyWhenThePasswordIsRefused) {
  const Sshd server;
  server_settings settings = login_settings(server);
  settings.login.password = "wrong";
  sftp_attributes got{};
  const fs::path own = server.home() / ".ssh";
  fs::create_directory(own);
  fs::copy_file(server.key_file("ed25519"), own / "id_rsa");
  const char* home = std::getenv("HOME");
  const std::string before = home == nullptr ? "" : home;
  setenv("HOME", server.home().c_str(), 1);
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
  setenv("HOME", before.c_str(), 1);
}

struct KeyCase {
  const char* label;
  const char* kind;
  const char* pwd;
  const char* proxy_pwd;
  CURLcode want;
};
void PrintTo(const KeyCase& row, std::ostream* out) { *out << row.label; }

constexpr KeyCase kKeyCases[] = {
    {"Ed25519", "ed25519", "", "", CURLE_OK},
    {"Ecdsa", "ecdsa", "", "", CURLE_OK},
    {"Ed25519WithPassPhrase", "ed25519_phrase", "a phrase", "", CURLE_OK},
    {"EcdsaWithPassPhrase", "ecdsa_phrase", "a phrase", "", CURLE_OK},
    {"PassPhraseFromTheProxyPassword", "ed25519_phrase", "", "a phrase", CURLE_OK},
    {"ThePasswordComesBeforeTheProxyPassword", "ed25519_phrase", "wrong", "a phrase", CURLE_LOGIN_DENIED},
    {"WrongPassPhrase", "ed25519_phrase", "wrong", "", CURLE_LOGIN_DENIED},
    {"NoPassPhrase", "ecdsa_phrase", "", "", CURLE_LOGIN_DENIED},
    {"AKeyThatIsNotThere", "nothing", "", "", CURLE_LOGIN_DENIED},
    {"AFileThatIsNoKey", "sshd_config", "", "", CURLE_LOGIN_DENIED},
    {"WithAKeyThePasswordLogsNobodyIn", "nothing", "p@ss word", "", CURLE_LOGIN_DENIED},
};

class SftpKey : public testing::TestWithParam<KeyCase> {};

TEST_P(SftpKey, LogsInAsTheRulesSay) {
  static const Sshd server;
  settings_map texts = key_settings(server, GetParam().kind);
  if (*GetParam().pwd != '\0') texts[key::pwd] = GetParam().pwd;
  if (*GetParam().proxy_pwd != '\0') texts[key::proxy_pwd] = GetParam().proxy_pwd;
  const server_settings settings = read_settings(texts);
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), GetParam().want) << server.log();
}

INSTANTIATE_TEST_SUITE_P(, SftpKey, testing::ValuesIn(kKeyCases),
                         [](const auto& row) { return row.param.label; });

// When the other side fails.

TEST(SftpChannelFailure, NamesAnUnreachableServerAsLibcurlDoes) {
  std::uint16_t free_port = 0;
  { free_port = fakes::local_port(fakes::listen_on_loopback(AF_INET)); }
  sftp_attributes got{};
  const server_settings refused =
      read_settings({{key::url, "sftp://127.0.0.1:" + std::to_string(free_port)}});
  EXPECT_EQ(sftp_channel{refused}.stat("/", got), CURLE_COULDNT_CONNECT);
  const server_settings malformed = read_settings({{key::url, "sftp://[/"}});
  EXPECT_EQ(sftp_channel{malformed}.stat("/", got), CURLE_URL_MALFORMAT);
  const server_settings nothing;
  EXPECT_EQ(sftp_channel{nothing}.stat("/", got), CURLE_URL_MALFORMAT);
}

TEST(SftpChannelFailure, ComesInTimeWhenTheServerNeverSpeaks) {
  const fakes::Socket listener = fakes::listen_on_loopback(AF_INET);
  const server_settings settings =
      read_settings({{key::url, "sftp://127.0.0.1:" + std::to_string(fakes::local_port(listener))}});
  sftp_attributes got{};
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ((sftp_channel{settings, {.login = 300ms, .silence = 20s}}.stat("/", got)),
            CURLE_OPERATION_TIMEDOUT);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(taken, 300ms);
  EXPECT_LT(taken, 5s);
}

TEST(SftpChannelFailure, ComesInTimeWhenAProxyNeverSpeaks) {
  const fakes::Socket listener = fakes::listen_on_loopback(AF_INET);
  for (const char* type : {"SOCKS4", "SOCKS5", "HTTP with TUNNEL", "HTTP without TUNNEL"}) {
    const server_settings settings =
        read_settings({{key::url, "sftp://127.0.0.1"},
                       {key::proxy_type, type},
                       {key::proxy_host, "127.0.0.1"},
                       {key::proxy_port, std::to_string(fakes::local_port(listener))}});
    sftp_attributes got{};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ((sftp_channel{settings, {.login = 300ms, .silence = 20s}}.stat("/", got)),
              CURLE_OPERATION_TIMEDOUT)
        << type;
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, 290ms) << type;  // libcurl counts in whole milliseconds
    EXPECT_LT(taken, 5s) << type;
  }
}

TEST(SftpChannelFailure, LimitsTheLoginTo10SecondsAndEverySilenceTo20) {
  EXPECT_EQ(sftp_limits{}.login, 10s);
  EXPECT_EQ(sftp_limits{}.silence, 20s);
}

TEST(SftpChannelFailure, ComesInTimeWhenTheServerFallsSilent) {
  const Sshd server;
  const server_settings settings = login_settings(server);
  sftp_channel channel{settings, {.login = 10s, .silence = 300ms}};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat("/", got), CURLE_OK);
  ASSERT_GT(server.signal_sessions(SIGSTOP), 0U);
  const std::clock_t cpu = std::clock();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(channel.stat("/", got), CURLE_OPERATION_TIMEDOUT);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(taken, 300ms);
  EXPECT_LT(taken, 5s);
  EXPECT_LT(std::clock() - cpu, CLOCKS_PER_SEC / 10) << "it waits, it does not spin";
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(channel.stat("/", got), CURLE_OK) << "a new session after the failure";
  EXPECT_EQ(server.logins(), 2U);
}

TEST(SftpChannelFailure, IsNotNoticedWhenTheServerHungUpMeanwhile) {
  struct sigaction action {};
  sigaction(SIGPIPE, nullptr, &action);
  ASSERT_EQ(action.sa_handler, SIG_DFL) << "a write to the dead socket would end this process";
  const Sshd server;
  const server_settings settings = login_settings(server);
  sftp_channel channel{settings};
  sftp_attributes got{};
  sftp_listing body;
  ASSERT_EQ(channel.stat("/", got), CURLE_OK);
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(channel.stat("/", got), CURLE_OK);
  EXPECT_EQ(server.logins(), 2U);
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(channel.list("/", body), CURLE_OK);
  EXPECT_EQ(server.logins(), 3U);
  server.end_sftp_processes();
  EXPECT_EQ(channel.stat("/", got), CURLE_OK) << "the SSH session went on, SFTP had ended";
  EXPECT_EQ(server.logins(), 4U);
}

TEST(SftpChannelFailure, StandsWhenTheServerIsGoneForGood) {
  Sshd server;
  const server_settings settings = login_settings(server);
  sftp_channel channel{settings};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat("/", got), CURLE_OK);
  server.stop();
  EXPECT_EQ(channel.stat("/", got), CURLE_COULDNT_CONNECT);
  EXPECT_EQ(channel.stat("/", got), CURLE_COULDNT_CONNECT);
  server.start();
  EXPECT_EQ(channel.stat("/", got), CURLE_OK) << "the next request logs in anew";
}

TEST(SftpChannelFailure, IsAnInitialisationThatFailedWhenTheServerSpeaksNoSsh) {
  for (const std::string greeting : {"", "220 hello\r\n", "SSH-2.0-x\r\n"}) {
    const fakes::Socket listener = fakes::listen_on_loopback(AF_INET);
    std::thread server{[&] {
      pollfd watched{listener.get(), POLLIN, 0};
      poll(&watched, 1, 10'000);
      const fakes::Socket caller{accept(listener.get(), nullptr, nullptr)};
      (void)!write(caller.get(), greeting.data(), greeting.size());
    }};
    const server_settings settings =
        read_settings({{key::url, "sftp://127.0.0.1:" + std::to_string(fakes::local_port(listener))}});
    sftp_attributes got{};
    EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_FAILED_INIT) << greeting;
    server.join();
  }
}

// Wherever the server falls silent (greeting, key exchange, login, start of SFTP, any part of a listing), the
// request ends in time, and on the CPU's account it does nothing meanwhile.
TEST(SftpChannelFailure, ComesInTimeWhereverTheServerFallsSilent) {
  const Sshd server;
  for (int n = 0; n < 300; ++n) std::ofstream{server.home() / ("file number " + std::to_string(n))};
  std::size_t whole = 0;
  std::size_t logged_in = 0;
  sftp_listing want;
  {
    const Relay relay{server.host(), server.port()};
    const server_settings settings = through(login_settings(server), relay);
    sftp_channel channel{settings};
    sftp_attributes got{};
    ASSERT_EQ(channel.stat("", got), CURLE_OK);
    logged_in = relay.from_server();
    ASSERT_EQ(channel.list("", want), CURLE_OK);
    whole = relay.from_server();
  }
  struct Silence {
    std::size_t after;
    CURLcode code = CURLE_OK;
    std::chrono::steady_clock::duration taken{};
    std::size_t listed = 0;
  };
  std::vector<Silence> silences;
  for (std::size_t n = 1; n <= 24; ++n) silences.push_back({logged_in * n / 25});
  for (std::size_t n = 0; n <= 7; ++n) silences.push_back({logged_in + (whole - logged_in) * n / 8});
  const auto run = [&](Silence& each, const sftp_limits& limits) {
    const Relay relay{server.host(), server.port(), {.stall_after = each.after}};
    const server_settings settings = through(login_settings(server), relay);
    sftp_channel channel{settings, limits};
    sftp_attributes got{};
    sftp_listing body;
    const auto begin = std::chrono::steady_clock::now();
    each.code = channel.stat("", got);
    if (each.code == CURLE_OK) each.code = channel.list("", body);
    each.taken = std::chrono::steady_clock::now() - begin;
    each.listed = body.text().size();
  };
  const std::clock_t cpu = std::clock();
  Silence in_closing{whole - 1};
  run(in_closing, {.login = 10s, .silence = 500ms});
  EXPECT_EQ(in_closing.code, CURLE_OK) << "the entries had all come";
  EXPECT_EQ(in_closing.listed, want.text().size());
  EXPECT_GE(in_closing.taken, 500ms);
  std::vector<std::thread> threads;
  for (Silence& each : silences) {
    threads.emplace_back([&] { run(each, {.login = 3s, .silence = 3s}); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LT(std::clock() - cpu, 10 * CLOCKS_PER_SEC) << "thirty logins, and no spinning";
  for (const Silence& each : silences) {
    SCOPED_TRACE(std::to_string(each.after) + " of " + std::to_string(whole));
    EXPECT_EQ(each.code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_GE(each.taken, 3s);
    EXPECT_LT(each.taken, 15s);
  }
}

// Wherever the line breaks, the request ends with a failure; half a listing never passes for a whole one.
TEST(SftpChannelFailure, ComesWhereverTheLineBreaks) {
  const Sshd server;
  for (int n = 0; n < 300; ++n) std::ofstream{server.home() / ("file number " + std::to_string(n))};
  std::size_t whole = 0;
  sftp_listing want;
  {
    const Relay relay{server.host(), server.port()};
    const server_settings settings = through(login_settings(server), relay);
    sftp_channel channel{settings};
    ASSERT_EQ(channel.list("", want), CURLE_OK);
    whole = relay.from_server();
  }
  ASSERT_GT(whole, 30'000U);
  std::map<CURLcode, int> seen;
  for (std::size_t cut = 1; cut < whole - 200; cut += whole / 37) {
    const Relay relay{server.host(), server.port(), {.delay = 0us, .cut_after = cut}};
    const server_settings settings = through(login_settings(server), relay);
    sftp_listing body;
    const CURLcode code = sftp_channel{settings, {.login = 10s, .silence = 5s}}.list("", body);
    EXPECT_THAT(code, AnyOf(CURLE_FAILED_INIT, CURLE_RECV_ERROR, CURLE_SEND_ERROR)) << "cut after " << cut;
    ++seen[code];
  }
  EXPECT_GT(seen[CURLE_FAILED_INIT], 0) << "before SFTP had started";
  EXPECT_GT(seen[CURLE_RECV_ERROR] + seen[CURLE_SEND_ERROR], 0) << "in the listing";
}

// A server whose SFTP is badly spoken, each time in another way: the request fails in time, a listing that
// came in part never passes for a whole one, and the next request logs in anew.

struct OddCase {
  const char* manner;
  CURLcode listing;
  CURLcode stat;
};
void PrintTo(const OddCase& row, std::ostream* out) { *out << row.manner; }

constexpr OddCase kOddCases[] = {
    {"more names than there are", CURLE_SSH, CURLE_OK},
    {"a count of all ones", CURLE_SSH, CURLE_OK},
    {"a name longer than its packet", CURLE_SSH, CURLE_OK},
    {"a name of all ones", CURLE_SSH, CURLE_OK},
    {"a long name longer than its packet", CURLE_SSH, CURLE_OK},
    {"no attributes", CURLE_SSH, CURLE_OK},
    {"attributes that break off", CURLE_SSH, CURLE_SSH},
    {"a status that breaks off", CURLE_SSH, CURLE_SSH},
    {"an unknown kind of packet", CURLE_SSH, CURLE_SSH},
    {"an answer to another question", CURLE_OPERATION_TIMEDOUT, CURLE_OPERATION_TIMEDOUT},
    {"a packet of two gigabytes", CURLE_SSH, CURLE_SSH},
    {"an empty packet", CURLE_OUT_OF_MEMORY, CURLE_OUT_OF_MEMORY},
    {"half a packet and silence", CURLE_OPERATION_TIMEDOUT, CURLE_OPERATION_TIMEDOUT},
    {"half a packet and the end", CURLE_RECV_ERROR, CURLE_RECV_ERROR},
    {"the end", CURLE_RECV_ERROR, CURLE_RECV_ERROR},
};

const Sshd& odd_server() {
  static const Sshd running{{.sftp_program = ODD_SFTP_SERVER}};
  return running;
}

class OddSftp : public testing::TestWithParam<OddCase> {};

TEST_P(OddSftp, FailsInTimeAndIsLeft) {
  const auto& [manner, listing, stat] = GetParam();
  const server_settings settings = login_settings(odd_server());
  const std::string path = std::string{"/"} + manner;
  sftp_channel channel{settings, {.login = 10s, .silence = 1s}};
  sftp_attributes got{};
  sftp_listing body;
  EXPECT_EQ(channel.list(path, body), listing);
  EXPECT_EQ(channel.stat("/good", got), CURLE_OK);
  if (stat == CURLE_OK) return;
  EXPECT_EQ(channel.stat(path, got), stat);
  EXPECT_EQ(channel.stat("/good", got), CURLE_OK);
  EXPECT_EQ(got.filesize, 5U);
}

INSTANTIATE_TEST_SUITE_P(, OddSftp, testing::ValuesIn(kOddCases), [](const auto& row) {
  std::string name = row.param.manner;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

TEST(OddSftpListing, IsWholeWhateverTheLongNamesAre) {
  const server_settings settings = login_settings(odd_server());
  sftp_channel channel{settings};
  for (const std::string path :
       {"/long names that are missing", "/long names of another form", "/long names of other files"}) {
    SCOPED_TRACE(path);
    auto records = listed(channel, path);
    EXPECT_EQ(records.size(), 2U);
    for (const char* name : {"first", "sec;ond -> x"}) {
      EXPECT_EQ(records[name].attr, 1) << name;
      EXPECT_EQ(records[name].size, 5) << name;
      EXPECT_EQ(records[name].modify_time, time_of(1577836800)) << name;
    }
  }
  auto records = listed(channel, "/very long names");
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(records.count(std::string(120'000, 'm')), 1U);
  EXPECT_TRUE(listed(channel, "/nothing").empty());
}

TEST(OddSftpStat, WithoutAnyFieldIsARecordOfZeros) {
  const server_settings settings = login_settings(odd_server());
  sftp_channel channel{settings};
  sftp_attributes got{1, 2, 3, 4, 5, 6, 7};
  ASSERT_EQ(channel.stat("/attributes without a field", got), CURLE_OK);
  const sftp_attributes zeros{};
  EXPECT_EQ(std::memcmp(&got, &zeros, sizeof got), 0);
}

}  // namespace
}  // namespace ftp_plugin
