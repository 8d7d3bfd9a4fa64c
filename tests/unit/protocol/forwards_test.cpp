// The private operations under the names of the class, also those that no slot calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "protocol/protocol.h"
#include "tests/fakes/ftp_server.h"
#include "tests/fakes/host.h"

namespace ftp_plugin {

/// Befriended by the class.
struct private_operations {
  struct releaser {
    void operator()(Protocol* released) const { released->Release(); }
  };
  std::unique_ptr<Protocol, releaser> object{new Protocol{"ftp", nullptr}};

  std::string full_path(std::string base, const char* id) { return object->full_path(std::move(base), id); }
  std::string encode(std::string name, bool convert) { return object->_encode(std::move(name), convert); }
  void mlsd(const std::string& line, _FS_FILE_V2& record) { object->ftpparse_mlsd(line, &record); }
  bool vxworks(const std::string& line, _FS_FILE_V2& record) {
    return object->ftpparse_vxworks(line, "not read", &record);
  }
  bool basic(const std::string& line, _FS_FILE_V2& record) {
    return object->ftpparse_basic(line, "/d", &record);
  }
  bool is_vxworks_server(const char* line) { return object->is_vxworks_server(line); }
  int read_dir(const char* path, bool& is_mlsd, char*& data) {
    return object->read_dir(path, &is_mlsd, &data, nullptr);
  }
  AERROR look_up(const char* path, const char* name, _FS_FILE_V2& found, char** message) {
    return object->_GetFileList(path, nullptr, message, name, &found);
  }
  AERROR ftp_get_info(const char* path, _FS_FILE_V2& file) {
    return object->ftp_get_info(path, &file, nullptr);
  }
  AERROR look_up_in_parent(const char* path, _FS_FILE_V2& file, char** message) {
    return object->GetFileInfoUsingGetFileList(path, &file, message);
  }
  AERROR remove(const char* path, char** message, bool directory) {
    return object->_Delete(path, message, directory);
  }
};

namespace {

class Forwards : public testing::Test {
 protected:
  Forwards() {
    server.add_file("/root/docs/a.txt", "hello");
    server.add_directory("/root/empty");
  }
  void connected() {
    const std::string login = R"([{"data": [{"url": {"value": ")" + server.url("/root") +
                              R"("}}, {"anonymous": {"value": true}}]}])";
    ASSERT_EQ(protocol.object->Connect(nullptr, login.c_str()), SUCCESS);
  }

  fakes::FtpServer server;
  private_operations protocol;
  _FS_FILE_V2 record;
};

TEST_F(Forwards, JoinPathsAsTheSettingsSay) {
  EXPECT_EQ(protocol.full_path("", "x"), "/x") << "no server is known yet";
  connected();
  EXPECT_EQ(protocol.full_path("", "/docs/a b"), "root/docs/a b");
  EXPECT_EQ(protocol.full_path("ftp://host", nullptr), "ftp://host/root/");
}

TEST_F(Forwards, LeaveANameAloneThatIsNotToBeConverted) {
  EXPECT_EQ(protocol.encode("caf\xC3\xA9", false), "caf\xC3\xA9");
  EXPECT_EQ(protocol.encode("plain", true), "plain");
}

TEST_F(Forwards, ReadTheLinesOfEachKindOfListing) {
  protocol.mlsd("type=dir;modify=20200105123456; my dir", record);
  EXPECT_EQ(record.name, "my dir");
  EXPECT_EQ(record.attr, FS_ATTR_DIRECTORY);
  EXPECT_TRUE(protocol.vxworks("   512    Jan-05-2020 12:34:56   sub   <DIR>", record = {}));
  EXPECT_EQ(record.name, "sub");
  EXPECT_FALSE(protocol.vxworks("no digit", record = {}));
  EXPECT_TRUE(protocol.basic("lrwxrwxrwx 1 o g 7 Jan  5  2020 l -> t", record = {}));
  EXPECT_EQ(record.name, "l");
  EXPECT_EQ(record.attr, FS_ATTR_DIRECTORY) << "on FTP no link is followed";
  EXPECT_FALSE(protocol.basic("total 42", record = {}));
  EXPECT_TRUE(protocol.is_vxworks_server("  size  date   time   name"));
  EXPECT_FALSE(protocol.is_vxworks_server("size data"));
}

TEST_F(Forwards, GiveTheListingAwayAsTextOfMalloc) {
  bool is_mlsd = false;
  char* data = nullptr;
  EXPECT_ANY_THROW(protocol.read_dir("/docs", is_mlsd, data)) << "a slot stops this";
  connected();
  EXPECT_EQ(protocol.read_dir("/docs", is_mlsd, data), 0);
  EXPECT_TRUE(is_mlsd);
  EXPECT_THAT(data, testing::HasSubstr(" a.txt\n"));
  std::free(data);
  data = nullptr;
  server.set_list("/root/docs/[x]", "-rw-r--r-- 1 o g 5 Jan  5  2020 a\r\n");
  server.add_directory("/root/docs/[x]");
  EXPECT_EQ(protocol.read_dir("/docs/[x]", is_mlsd, data), 0);
  EXPECT_FALSE(is_mlsd);
  EXPECT_STREQ(data, "-rw-r--r-- 1 o g 5 Jan  5  2020 a\n");
  std::free(data);
  data = nullptr;
  server.set_mlsd("/root/empty", "");
  EXPECT_EQ(protocol.read_dir("/empty", is_mlsd, data), 0);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(protocol.read_dir("/none", is_mlsd, data), 1);
  EXPECT_EQ(data, nullptr);
}

TEST_F(Forwards, AskForOneEntry) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol.look_up("/docs", "a.txt", record, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(record.size, 5);
  EXPECT_EQ(record.id, "") << "a look-up does not write it";

  EXPECT_EQ(protocol.ftp_get_info("/docs/a.txt", record = {}), SUCCESS);
  EXPECT_EQ(record.size, 5);

  record = {};
  record.id = "/docs/a.txt";
  message = &text;
  EXPECT_EQ(protocol.look_up_in_parent("/docs/other", record, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(record.size, 5) << "the folder is that of the path, the name that of the record";
}

TEST_F(Forwards, DeleteFilesAndDirectories) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol.remove("/docs/a.txt", &message, true), FAILED);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(protocol.remove("/docs/a.txt", nullptr, false), SUCCESS);
  EXPECT_EQ(server.file("/root/docs/a.txt"), std::nullopt);
  EXPECT_EQ(protocol.remove("/docs", nullptr, true), SUCCESS);
}

}  // namespace
}  // namespace ftp_plugin
