// The plug-in's operations on OpenSSH's server: what they hand to the host, log, and do with the connection.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"
#include "tests/live/sftp_files_fixture.h"
#include "tests/servers/disk.h"

namespace {

using live::DistantSftp;
using live::SftpFiles;
namespace fs = std::filesystem;
using testing::Contains;
using testing::IsEmpty;

TEST_F(SftpFiles, TellsSizeKindAndTimeOfAFile) {
  add("f", "hello", 1577836805);
  connect();
  file.attr = FS_ATTR_DIRECTORY;  // on SFTP the server is asked, whatever the host believes
  EXPECT_EQ(protocol->GetFileInfo("f", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.id, "/f");
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.size, 5);
  for (const auto& time : {file.create_time, file.access_time, file.modify_time}) {
    EXPECT_EQ(time, "2020-01-01T00:00:05.000Z");
  }
  EXPECT_THAT(log.operations(),
              testing::ElementsAre("1 [PROTOCOL  ] GetFileInfo id: [f]",
                                   "1 [PROTOCOL  ] GetFileInfo dir: [2]", "1 [PROTOCOL  ] sftp_stat id: [f]",
                                   "1 [PROTOCOL  ] sftp_stat id: [f] , filesize [5], atime [1577836805], "
                                   "mtime [1577836805]"));
}

TEST_F(SftpFiles, ADirectoryKeepsTheSizeThatTheRecordHad) {
  fs::create_directory(server.home() / "d");
  connect();
  file.size = 42;
  EXPECT_EQ(protocol->GetFileInfo("/d", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(file.size, 42);
}

TEST_F(SftpFiles, ANameOfTwoLinesIsLeftOutAndTheLogTells) {
  add("a\n-rw-r--r-- 1 0 0 5 Jan  1 2020 forged", "x", 1);
  add("b", "x", 1);
  connect();
  EXPECT_EQ(list("").size(), 3U) << "the two dots and b";
  EXPECT_THAT(log.lines_with("line feed"),
              testing::ElementsAre(testing::EndsWith("1 names hold a line feed and are left out")));
}

TEST_F(SftpFiles, ASocketCountsAsADirectory) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = (server.home() / "s").string();
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::strcpy(address.sun_path, path.c_str());
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(listener);
  connect();
  EXPECT_EQ(protocol->GetFileInfo("/s", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
}

TEST_F(SftpFiles, ATimeAfter2038ComesOutBefore1970) {
  add("f", "", 2147483648);
  connect();
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.modify_time, "1901-12-13T20:45:52.000Z");
  EXPECT_EQ(list("")["f"].modify_time, "1901-12-13T20:45:52.000Z");
}

TEST_F(SftpFiles, AMissingFileIsFailedAndItsConnectionDropped) {
  add("f", "", 1);
  connect();
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 2U) << "libcurl's, and the one that answers this question";
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 2U) << "the connection came back";
  _FS_FILE_V2 missing;
  missing.size = 42;
  EXPECT_EQ(protocol->GetFileInfo("/none", &missing, nullptr), FAILED);
  EXPECT_EQ(missing.size, 42);
  EXPECT_EQ(missing.modify_time, "");
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] sftp_stat id: [/none] , exec error: [78]"));
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 4U) << "a new connection";
}

TEST_F(SftpFiles, AForbiddenDirectoryIsFailed) {
  fs::create_directories(server.home() / "closed/inside");
  server.hand_over();
  fs::permissions(server.home() / "closed", fs::perms::none);
  connect();
  EXPECT_EQ(protocol->GetFileInfo("/closed/inside", &file, nullptr), FAILED);
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] sftp_stat id: [/closed/inside] , exec error: [9]"));
  fakes::FileList files;
  EXPECT_EQ(protocol->GetFileList("/closed", &files, nullptr), FAILED);
  EXPECT_THAT(files.files(), IsEmpty());
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] read_dir id: [/closed] , exec error: [9]"));
  fs::permissions(server.home() / "closed", fs::perms::owner_all);
}

TEST_F(SftpFiles, AServerThatHungUpIsLoggedInToAgain) {
  add("f", "x", 1);
  connect();
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(list("").count("f"), 1U);
}

TEST_F(SftpFiles, ListsNamesTimesAndSizesAsOnTheDiskAndAsFileInfoTellsThem) {
  fs::create_directory(server.home() / "in here");
  std::time_t mtime = 1577836800;
  std::map<std::string, std::time_t> want;
  for (const std::string name :
       {"plain", " two words ", "   x", "a;b", "a;1577836800", "a -> b", "it's", "say \"hi\"", "[brackets]",
        "Gr\xC3\xB6\xC3\x9F", "\xF0\x9F\x98\x80", "latin\xE4", "%41", "back\\slash", "~", "return\r"}) {
    add("in here/" + name, name, want[name] = mtime += 86461);
  }
  connect();
  auto records = list("/in here");
  EXPECT_EQ(records.size(), want.size() + 2);
  for (const auto& [name, seconds] : want) {
    ASSERT_EQ(records.count(name), 1U) << name;
    const _FS_FILE_V2& record = records[name];
    EXPECT_EQ(record.id, "/in here/" + name);
    EXPECT_EQ(record.size, static_cast<long long>(name.size())) << name;
    EXPECT_EQ(record.attr, FS_ATTR_FILE) << name;
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.000Z", std::gmtime(&seconds));
    EXPECT_EQ(record.modify_time, text) << name;
    _FS_FILE_V2 asked;
    EXPECT_EQ(protocol->GetFileInfo(record.id.c_str(), &asked, nullptr), SUCCESS) << name;
    EXPECT_EQ(asked.modify_time, record.modify_time) << name;
    EXPECT_EQ(asked.size, record.size) << name;
  }
}

TEST_F(SftpFiles, FollowsTheLinksOfAListing) {
  fs::create_directory(server.home() / "dir");
  add("file", "0123456789", 5);
  std::time_t mtime = 1577836800;
  for (const auto& [name, target] : {std::pair{"to dir", "dir"},
                                     {"to file", "file"},
                                     {"to nowhere", "none"},
                                     {"loop", "loop"},
                                     {"a -> b", "dir"}}) {
    fs::create_symlink(target, server.home() / name);
    servers::set_time(server.home() / name, ++mtime);
  }
  connect();
  auto records = list("");
  EXPECT_EQ(records.size(), 9U);
  EXPECT_EQ(records["to dir"].attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(records["to dir"].size, 0);
  EXPECT_EQ(records["to dir"].modify_time, "2020-01-01T00:00:01.000Z") << "the link's own";
  EXPECT_EQ(records["to file"].attr, FS_ATTR_FILE);
  EXPECT_EQ(records["to file"].size, 4) << "the link's own";
  EXPECT_EQ(records["to nowhere"].attr, 0U);
  EXPECT_EQ(records["loop"].attr, 0U);
  EXPECT_EQ(records["a -> b"].attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(records["a -> b"].modify_time, "2020-01-01T00:00:05.000Z");
}

TEST_F(SftpFiles, TheHomeDirectoryMayBeTheRoot) {
  add("f", "abc", 1577836800);
  ASSERT_EQ(
      protocol->Connect(nullptr,
                        fakes::login_document(server.url() + "/~", server.user(), server.password()).c_str()),
      SUCCESS);
  EXPECT_EQ(list("").count("f"), 1U);
  EXPECT_EQ(protocol->GetFileInfo("/f", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.size, 3);
  fakes::FetchSink sink;
  EXPECT_EQ(protocol->Read("/f", 0, 3, nullptr, &sink, nullptr), SUCCESS);
  EXPECT_EQ(sink.bytes(), "abc");
}

TEST_F(SftpFiles, AnEmptyDirectoryHoldsTheTwoDots) {
  fs::create_directory(server.home() / "empty");
  connect();
  const auto records = list("/empty");
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(records.count("."), 1U);
  EXPECT_EQ(records.count(".."), 1U);
}

TEST_F(SftpFiles, CommandsTakeAwkwardNames) {
  connect();
  for (const std::string name :
       {" lead and trail ", "it's", "a;b", "*", "%s%n", "#1", "-dash", "Überraschung"}) {
    SCOPED_TRACE(name);
    file = {};
    file.name = name;
    ASSERT_EQ(protocol->CreateDirectory("", &file, nullptr), SUCCESS);
    EXPECT_EQ(file.id, "/" + name);
    EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
    fakes::CacheSource cache{"abc"};
    file = {};
    file.name = name;
    file.size = 3;
    const std::string folder = "/" + name;
    ASSERT_EQ(protocol->Upload(folder.c_str(), nullptr, &cache, &file, UPLOAD_FLAG{}, nullptr), SUCCESS);
    EXPECT_EQ(fs::file_size(server.home() / name / name), 3U);

    file.name = name + "2";
    ASSERT_EQ(protocol->Rename((folder + "/" + name).c_str(), folder.c_str(), &file, nullptr), SUCCESS);
    EXPECT_EQ(file.id, folder + "/" + name + "2");
    EXPECT_EQ(file.size, 3);
    EXPECT_TRUE(fs::exists(server.home() / name / (name + "2")));
    EXPECT_EQ(protocol->DeleteDirectory(folder.c_str(), nullptr), FAILED) << "it is not empty";
    EXPECT_EQ(protocol->Delete((folder + "/" + name + "2").c_str(), nullptr), SUCCESS);
    EXPECT_EQ(protocol->DeleteDirectory(folder.c_str(), nullptr), SUCCESS);
    EXPECT_FALSE(fs::exists(server.home() / name));
  }
}

TEST_F(SftpFiles, NamesThatACommandWouldChangeAreRefused) {
  // What libcurl would take instead of the names below.
  for (const char* name : {"a", "ab", "a\"b", "a\\"}) add(name, "kept", 1);
  connect();
  struct Case {
    std::string name;
    int code;
  };
  for (const auto& [name, code] : {Case{"a\"b", 21}, Case{"a\"", 21}, Case{"a\\", 21}, Case{"a\\b", 21},
                                   Case{"a\nrm a", 3}, Case{"a\r", 3}}) {
    SCOPED_TRACE(testing::PrintToString(name));
    const std::string path = "/" + name;
    const std::string error = ", exec error: [" + std::to_string(code) + "]";
    log.clear();
    EXPECT_EQ(protocol->Delete(path.c_str(), nullptr), FAILED);
    EXPECT_EQ(protocol->DeleteDirectory(path.c_str(), nullptr), FAILED);
    EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] _Delete id: [" + path + "] " + error).Times(2));

    file = {};
    file.name = name;
    EXPECT_EQ(protocol->CreateDirectory("", &file, nullptr), FOLDER_CREATION_FAILED);
    EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] CreateDirectory id: [] " + error));

    const std::string move_error = "] exec error: [" + std::to_string(code) + "]";
    EXPECT_EQ(protocol->Move("/ab", "", &file, nullptr), FILE_WRITE_FAILED);
    EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] Move src: [/ab] , target: [" + name + move_error));
    file.name = "new";
    EXPECT_EQ(protocol->Rename(path.c_str(), "", &file, nullptr), FILE_WRITE_FAILED);
    EXPECT_EQ(protocol->MoveDir(path.c_str(), "", &file, nullptr), FILE_WRITE_FAILED);
    EXPECT_THAT(log.operations(),
                Contains("8 [PROTOCOL  ] Move src: [" + path + "] , target: [new" + move_error).Times(2));
  }
  EXPECT_EQ(list("").size(), 6U) << "four files and the two dots";
  for (const char* name : {"a", "ab", "a\"b", "a\\"}) {
    EXPECT_EQ(fs::file_size(server.home() / name), 4U) << name;
  }
}

TEST_F(SftpFiles, AnUploadUnderANameOfTwoLinesIsRefused) {
  connect();
  for (const auto& [path, name] : {std::pair{"", "a\nb"}, {"", "a\r"}, {"/a\r\nb", "c"}}) {
    SCOPED_TRACE(testing::PrintToString(name));
    fakes::CacheSource cache{"hello"};
    _FS_FILE_V2 record;
    record.name = name;
    record.size = 5;
    EXPECT_EQ(protocol->Upload(path, nullptr, &cache, &record, UPLOAD_FLAG{}, nullptr), FILE_WRITE_FAILED);
    EXPECT_THAT(log.operations(),
                Contains(std::string{"8 [PROTOCOL  ] Upload id: ["} + name + "] , exec error: [3]"));
    EXPECT_TRUE(cache.requests().empty());
  }
  EXPECT_EQ(list("").size(), 2U) << "the two dots";
}

TEST_F(SftpFiles, TimesAreNotSet) {
  add("f", "x", 1577836805);
  connect();
  file.modify_time = "as it was";
  EXPECT_EQ(protocol->SetFileTime("/f", "", "", "2024-03-05T07:08:09Z", &file, nullptr), NOT_SUPPORTED);
  EXPECT_EQ(file.modify_time, "as it was");
  EXPECT_THAT(log.operations(), testing::ElementsAre("1 [PROTOCOL  ] SetFileTime id: [/f]"));
}

TEST_F(DistantSftp, ADeleteWaitsWithoutSpinning) {
  add("f", "x", 1);
  connect_from_far();
  const auto cpu_ms = [] {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
  };
  const double before = cpu_ms();
  ASSERT_EQ(protocol->Delete("/f", nullptr), SUCCESS);
  EXPECT_LT(cpu_ms() - before, 10) << "it takes three round trips of 20 ms";
  EXPECT_FALSE(fs::exists(server.home() / "f"));
}

}  // namespace
