// Creating, deleting, renaming and moving on every real server, with the server's disk as the witness.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/live/ftp_fixture.h"
#include "tests/live/session.h"
#include "tests/servers/disk.h"

namespace {

using fakes::some_bytes;
using live::Session;
using live::time_text;
using servers::bytes_of;
using testing::SizeIs;

namespace fs = std::filesystem;

_FS_FILE_V2 named(const std::string& name, std::uint32_t attr = FS_ATTR_FILE) {
  _FS_FILE_V2 file;
  file.name = name;
  file.attr = attr;
  return file;
}

class LiveChanges : public live::OnFtpServer {
 protected:
  bool exists(const std::string& path) const { return fs::exists(server_.folder() / path); }
};

TEST_P(LiveChanges, CreatesDirectoriesAndTellsWhatTheServerSees) {
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  const std::size_t logins = session.log().lines_with("] USER ").size();
  const std::string today = time_text(std::time(nullptr)).substr(0, 10);
  _FS_FILE_V2 outer = named("outer one");
  ASSERT_EQ(session->CreateDirectory("", &outer, nullptr), SUCCESS) << session.transcript();
  EXPECT_TRUE(fs::is_directory(server_.folder() / "outer one"));
  EXPECT_EQ(outer.id, "/outer one");
  EXPECT_EQ(outer.name, "outer one");
  EXPECT_EQ(outer.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(outer.modify_time.substr(0, 10), today);
  _FS_FILE_V2 inner = named("inner");
  ASSERT_EQ(session->CreateDirectory("/outer one", &inner, nullptr), SUCCESS) << session.transcript();
  EXPECT_TRUE(fs::is_directory(server_.folder() / "outer one/inner"));
  EXPECT_THAT(session.log().lines_with("] USER "), SizeIs(logins));
}

TEST_P(LiveChanges, CannotCreateWhatIsThereOrHasNoParent) {
  server_.add_folder("there");
  server_.add_file("file", "hello");
  const Session session{server_};
  _FS_FILE_V2 file;
  EXPECT_EQ(session->CreateDirectory("", &(file = named("there")), nullptr), FOLDER_CREATION_FAILED);
  EXPECT_EQ(session->CreateDirectory("", &(file = named("file")), nullptr), FOLDER_CREATION_FAILED);
  EXPECT_EQ(session->CreateDirectory("/a/b", &(file = named("c")), nullptr), FOLDER_CREATION_FAILED);
  EXPECT_FALSE(exists("a"));
}

TEST_P(LiveChanges, DeletesFilesAndEmptyDirectoriesOnly) {
  server_.add_file("folder/a b.txt", "a");
  server_.add_file("folder/keep.txt", "keep");
  server_.add_folder("empty one");
  const Session session{server_};
  EXPECT_EQ(session->Delete("/folder/a b.txt", nullptr), SUCCESS) << session.transcript();
  EXPECT_FALSE(exists("folder/a b.txt"));
  EXPECT_EQ(session->DeleteDirectory("/empty one", nullptr), SUCCESS) << session.transcript();
  EXPECT_FALSE(exists("empty one"));

  EXPECT_EQ(session->DeleteDirectory("/folder", nullptr), FAILED) << "not empty";
  EXPECT_EQ(session->Delete("/folder", nullptr), FAILED) << "not a file";
  EXPECT_EQ(session->DeleteDirectory("/folder/keep.txt", nullptr), FAILED) << "not a directory";
  EXPECT_EQ(session->Delete("/missing", nullptr), FAILED);
  EXPECT_EQ(session->DeleteDirectory("/missing", nullptr), FAILED);
  EXPECT_EQ(session->Delete(nullptr, nullptr), FAILED);
  EXPECT_TRUE(exists("folder/keep.txt"));
}

TEST_P(LiveChanges, RenamesAndMovesFiles) {
  const std::string bytes = some_bytes(70'000);
  const std::time_t modified = 1'234'567'890;
  server_.add_file("from/a.bin", bytes, modified);
  server_.add_folder("to");
  const Session session{server_};
  const std::size_t logins = session.log().lines_with("] USER ").size();
  _FS_FILE_V2 file = named("b b.bin");
  ASSERT_EQ(session->Rename("/from/a.bin", "/from", &file, nullptr), SUCCESS) << session.transcript();
  EXPECT_EQ(file.id, "/from/b b.bin");
  EXPECT_EQ(file.size, 70'000);
  EXPECT_EQ(file.modify_time, time_text(modified));
  file = named("c.bin");
  ASSERT_EQ(session->Move("/from/b b.bin", "/to", &file, nullptr), SUCCESS) << session.transcript();
  EXPECT_EQ(file.id, "/to/c.bin");
  EXPECT_EQ(file.size, 70'000);
  file = named("top.bin");
  ASSERT_EQ(session->Move("/to/c.bin", "", &file, nullptr), SUCCESS) << session.transcript();
  EXPECT_EQ(file.id, "/top.bin");
  EXPECT_TRUE(bytes_of(server_.folder() / "top.bin") == bytes);
  EXPECT_TRUE(fs::is_empty(server_.folder() / "from"));
  EXPECT_TRUE(fs::is_empty(server_.folder() / "to"));
  EXPECT_THAT(session.log().lines_with("] USER "), SizeIs(logins));
}

TEST_P(LiveChanges, MovesDirectoriesWithAllTheyHold) {
  server_.add_file("from/inner/deep.txt", "deep");
  server_.add_folder("to");
  const Session session{server_};
  _FS_FILE_V2 file = named("moved");
  ASSERT_EQ(session->MoveDir("/from/inner", "/to", &file, nullptr), SUCCESS) << session.transcript();
  EXPECT_EQ(file.id, "/to/moved");
  EXPECT_EQ(file.name, "moved");
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_NE(file.modify_time, "");
  EXPECT_EQ(bytes_of(server_.folder() / "to/moved/deep.txt"), "deep");
  EXPECT_FALSE(exists("from/inner"));
}

TEST_P(LiveChanges, CannotMoveWhatIsMissingOrTo) {
  server_.add_file("a.txt", "hello");
  const Session session{server_};
  _FS_FILE_V2 file;
  EXPECT_EQ(session->Move("/missing", "", &(file = named("b")), nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(session->Move("/a.txt", "/missing", &(file = named("b")), nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(session->Move("/", "/missing", &(file = named("b")), nullptr), SUCCESS) << "the root stays";
  EXPECT_EQ(bytes_of(server_.folder() / "a.txt"), "hello");
}

TEST_P(LiveChanges, AwkwardNamesGoTheWholeWay) {
  const Session session{server_};
  for (const std::string& name :
       {std::string{"#hash"}, std::string{"100%"}, std::string{"a b  c"}, std::string{"a;b"},
        std::string{"a[1]"}, std::string{"quote\"s'"}, std::string{"-dash"}, std::string{"Überraschung"},
        std::string{"\xE6\x97\xA5\xE6\x9C\xAC"}}) {
    _FS_FILE_V2 file = named(name);
    EXPECT_EQ(session->CreateDirectory("", &file, nullptr), SUCCESS) << name << session.transcript();
    EXPECT_TRUE(fs::is_directory(server_.folder() / name)) << name;
    EXPECT_NE(file.modify_time, "") << name << " was not found again";
    const std::string inside = "/" + name;
    fakes::CacheSource cache{"hello"};
    file = named(name);
    file.size = 5;
    EXPECT_EQ(session->Upload(inside.c_str(), fakes::make_handle(), &cache, &file, UPLOAD_FLAG_NONE, nullptr),
              SUCCESS)
        << name << session.transcript();
    file = named(name + " too");
    EXPECT_EQ(session->Rename((inside + inside).c_str(), inside.c_str(), &file, nullptr), SUCCESS)
        << name << session.transcript();
    EXPECT_EQ(bytes_of(server_.folder() / name / (name + " too")), "hello") << name;
    EXPECT_EQ(session->Delete((inside + inside + " too").c_str(), nullptr), SUCCESS) << session.transcript();
    EXPECT_EQ(session->DeleteDirectory(inside.c_str(), nullptr), SUCCESS) << session.transcript();
  }
  EXPECT_TRUE(fs::is_empty(server_.folder()));
}

TEST_P(LiveChanges, ALineBreakDoesNothing) {
  server_.add_file("a.txt", "hello");
  const Session session{server_};
  _FS_FILE_V2 file = named("b");
  EXPECT_EQ(session->Delete("/b\r\nDELE a.txt", nullptr), FAILED);
  EXPECT_EQ(session->Move("/a.txt\r\nDELE a.txt", "", &file, nullptr), FILE_WRITE_FAILED);
  file = named("b\nDELE a.txt");
  EXPECT_EQ(session->CreateDirectory("", &file, nullptr), FOLDER_CREATION_FAILED);
  EXPECT_EQ(bytes_of(server_.folder() / "a.txt"), "hello");
}

TEST_P(LiveChanges, WhereTheServerMayNotWriteFails) {
  server_.add_file("locked/a.txt", "hello");
  const fs::path locked = server_.folder() / "locked";
  ASSERT_EQ(chmod(locked.c_str(), 0555), 0);
  const Session session{server_};
  _FS_FILE_V2 file;
  EXPECT_EQ(session->CreateDirectory("/locked", &(file = named("new")), nullptr), FOLDER_CREATION_FAILED);
  EXPECT_EQ(session->Rename("/locked/a.txt", "/locked", &(file = named("b")), nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(session->Delete("/locked/a.txt", nullptr), FAILED);
  EXPECT_EQ(bytes_of(locked / "a.txt"), "hello");
}

/// Holds every upload until the others have come as far.
class MeetingCache final : public ICacheIO {
 public:
  explicit MeetingCache(std::latch& all) : all_{all} {}
  ~MeetingCache() {
    if (!met_) all_.count_down();  // the others do not wait for an upload that never came so far
  }
  int ReadBlock(CACHE_READ_REQUEST* request) override {
    met_ = true;
    all_.arrive_and_wait();
    std::memcpy(request->buffer, "x", 1);
    request->done = 1;
    return 0;
  }

 private:
  std::latch& all_;
  bool met_ = false;
};

/// Leaves six idle connections that stand in `folder`, and a file 0 to 5 for each.
void fill_by_six(const Session& session, const char* folder) {
  constexpr int kConnections = 6;
  std::latch all{kConnections};
  std::vector<std::thread> threads;
  for (int n = 0; n < kConnections; ++n) {
    threads.emplace_back([&, n] {
      MeetingCache cache{all};
      _FS_FILE_V2 file = named(std::to_string(n));
      file.size = 1;
      EXPECT_EQ(session->Upload(folder, fakes::make_handle(), &cache, &file, UPLOAD_FLAG_NONE, nullptr),
                SUCCESS);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_P(LiveChanges, AFolderOfAnOldNameIsNotTakenForTheMovedOne) {
  server_.add_folder("docs");
  const Session session{server_};
  fill_by_six(session, "/docs");
  _FS_FILE_V2 file = named("old");
  ASSERT_EQ(session->MoveDir("/docs", "", &file, nullptr), SUCCESS) << session.transcript();
  file = named("docs");
  ASSERT_EQ(session->CreateDirectory("", &file, nullptr), SUCCESS) << session.transcript();
  for (int n = 0; n < 6; ++n) {
    fakes::CacheSource cache{"new"};
    file = named("new" + std::to_string(n));
    file.size = 3;
    EXPECT_EQ(session->Upload("/docs", fakes::make_handle(), &cache, &file, UPLOAD_FLAG_NONE, nullptr),
              SUCCESS);
    EXPECT_TRUE(exists("docs/" + file.name)) << n;
    EXPECT_FALSE(exists("old/" + file.name)) << n;
  }
}

TEST_P(LiveChanges, AFolderThatIsCreatedAgainIsNotTakenForTheDeletedOne) {
  server_.add_folder("docs");
  const Session session{server_};
  fill_by_six(session, "/docs");
  for (int n = 0; n < 6; ++n) fs::remove(server_.folder() / "docs" / std::to_string(n));
  ASSERT_EQ(session->DeleteDirectory("/docs", nullptr), SUCCESS) << session.transcript();
  _FS_FILE_V2 file = named("docs");
  ASSERT_EQ(session->CreateDirectory("", &file, nullptr), SUCCESS) << session.transcript();
  fill_by_six(session, "/docs");
  for (int n = 0; n < 6; ++n) EXPECT_TRUE(exists("docs/" + std::to_string(n))) << n;
}

INSTANTIATE_TEST_SUITE_P(, LiveChanges, testing::ValuesIn(servers::directly_reached_ftp_servers()),
                         [](auto& row) { return row.param.label; });

}  // namespace
