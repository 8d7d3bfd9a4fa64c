#include "host/local/local_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/failure.h"
#include "host/local/temporary_name.h"

namespace ftp_host {
namespace {

class LocalFiles : public testing::Test {
 protected:
  void SetUp() override {
    std::string path = (std::filesystem::temp_directory_path() / "ftp-host-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(path.data()), nullptr);
    root_ = path;
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  void write(const std::string& name, const std::string& text) const { std::ofstream{root_ / name} << text; }

  std::filesystem::path root_;
};

TEST_F(LocalFiles, NeverEntersADirectoryThroughALink) {
  std::filesystem::create_directory_symlink("/etc", root_ / "link");
  const LocalDirectory directory = LocalDirectory::open(root_);
  EXPECT_THROW((void)directory.enter("link", true), Failure);
}

TEST_F(LocalFiles, NeverWritesThroughALink) {
  write("victim", "precious");
  std::filesystem::create_symlink(root_ / "victim", root_ / "link");
  const LocalDirectory directory = LocalDirectory::open(root_);
  EXPECT_THROW((void)directory.open_for_writing("link"), Failure);
}

TEST_F(LocalFiles, RefusesATemporaryFileThatAnotherRunWrites) {
  const LocalDirectory directory = LocalDirectory::open(root_);
  const Descriptor mine = directory.open_for_writing("t");
  EXPECT_THROW((void)directory.open_for_writing("t"), Failure);
}

TEST_F(LocalFiles, CleansUpLeftoversButNotThoseInUse) {
  const std::string dead = temporary_name("a", "1");
  const std::string other = temporary_name("b", "1");
  const std::string alive = temporary_name("a", "2");
  for (const std::string& name : {dead, other, alive, std::string{"ftp-host-notes.part"}}) write(name, "x");
  const LocalDirectory directory = LocalDirectory::open(root_);
  const Descriptor used = directory.open_for_writing(alive);
  directory.remove_temporaries("a", "");
  EXPECT_FALSE(directory.find(dead));
  EXPECT_TRUE(directory.find(other));
  EXPECT_TRUE(directory.find(alive));
  directory.remove_temporaries("", "");
  EXPECT_FALSE(directory.find(other));
  EXPECT_TRUE(directory.find("ftp-host-notes.part"));
}

TEST_F(LocalFiles, TellsKindsSizesAndTimes) {
  write("file", "12345");
  std::filesystem::create_directory(root_ / "dir");
  std::filesystem::create_symlink("file", root_ / "link");
  const std::vector<LocalEntry> entries = LocalDirectory::open(root_).list();
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].kind, LocalEntry::Kind::directory);
  EXPECT_EQ(entries[1].kind, LocalEntry::Kind::file);
  EXPECT_EQ(entries[1].size, 5);
  EXPECT_EQ(entries[2].kind, LocalEntry::Kind::link);
}

TEST_F(LocalFiles, NamesTheFileThatCannotBeOpened) {
  try {
    (void)LocalDirectory::open(root_ / "missing");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::local_file);
    EXPECT_NE(std::string{failure.what()}.find("missing"), std::string::npos);
  }
}

TEST(LocalPath, SplitsIntoDirectoryAndName) {
  EXPECT_EQ(split_local_path("a").directory, ".");
  EXPECT_EQ(split_local_path("/a").directory, "/");
  EXPECT_EQ(split_local_path("x/y/").directory, "x");
  EXPECT_EQ(split_local_path("x/y/").name, "y");
}

}  // namespace
}  // namespace ftp_host
