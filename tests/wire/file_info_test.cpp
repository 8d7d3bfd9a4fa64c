// Information about one entry: a size and time request for files, the parent's listing for directories.
#include "tests/wire/wire_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class FileInfo : public wire::Wire {
 protected:
  FileInfo() {
    file.name = "kept";
    file.size = 42;
    file.create_time = file.access_time = file.modify_time = "before";
  }

  void is_directory() { file.attr = FS_ATTR_DIRECTORY; }

  _FS_FILE_V2 file;
};

TEST_F(FileInfo, AsksSizeAndTimeOfAFile) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: CWD /", "1: CWD docs", "1: MDTM a.txt", "1: TYPE I",
                                                  "1: SIZE a.txt", "1: REST 0"));
  EXPECT_EQ(file.id, "/docs/a.txt");
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.create_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.access_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.attr, 0u);
  EXPECT_EQ(file.name, "kept");
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] GetFileInfo id: [/docs/a.txt]",
                                            "1 [PROTOCOL  ] GetFileInfo dir: [0]"));
}

TEST_F(FileInfo, TheIdBeginsWithASlash) {
  connected();
  EXPECT_EQ(protocol->GetFileInfo("docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.id, "/docs/a.txt");
}

TEST_F(FileInfo, AMissingFileIsFailed) {
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/none", &file, nullptr), FAILED);
  EXPECT_EQ(file.id, "/docs/none");
  EXPECT_EQ(file.size, -1) << "whatever libcurl reports is stored";
  EXPECT_EQ(file.modify_time, "1969-12-31T23:59:59.000Z");
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] ftp_get_info id: [/docs/none] , exec error: [78]"));
  EXPECT_TRUE(server.wait_until_idle()) << "the connection is dropped";
  EXPECT_EQ(server.dialogue().back(), "1: QUIT");
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 2u);
}

TEST_F(FileInfo, AServerWithoutMdtmGivesTheSecondBeforeTheEpoch) {
  server.lacks("MDTM");
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.create_time, "1969-12-31T23:59:59.000Z");
  EXPECT_EQ(file.access_time, "1969-12-31T23:59:59.000Z");
  EXPECT_EQ(file.modify_time, "1969-12-31T23:59:59.000Z");
}

TEST_F(FileInfo, AServerWithoutSizeLeavesItUnknown) {
  server.lacks("SIZE");
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.size, -1);
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
}

TEST_F(FileInfo, KnowsFilesBeyondFourGigabytes) {
  connected();
  server.on("SIZE").reply("213 6000000000123");
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.size, 6000000000123);
}

TEST_F(FileInfo, NamesArriveAsTheyAre) {
  const std::string name = "100% a#b?c;type=i [x] é~.txt";
  server.add_file("/docs/" + name, "12345");
  connected();
  EXPECT_EQ(protocol->GetFileInfo(("/docs/" + name).c_str(), &file, nullptr), SUCCESS);
  EXPECT_EQ(file.size, 5);
  EXPECT_THAT(server.take_dialogue(), Contains("1: SIZE " + name));
}

TEST_F(FileInfo, ALineBreakInAPathIsNeverSent) {
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/a\r\nDELE big.bin", &file, nullptr), FAILED);
  is_directory();
  EXPECT_EQ(protocol->GetFileInfo("/docs\r\nDELE big.bin/x", &file, nullptr), FAILED);
  EXPECT_EQ(log.lines_with("exec error: [3]").size(), 2u);
  released();
  EXPECT_EQ(server.count("DELE"), 0u);
  EXPECT_THAT(server.take_dialogue(), Not(Contains(HasSubstr("docs"))));
}

TEST_F(FileInfo, ADirectoryIsLookedUpInItsParent) {
  is_directory();
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/sub", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: EPSV", "1: TYPE A", "1: MLSD docs"));
  EXPECT_EQ(file.id, "/docs/sub");
  EXPECT_EQ(file.name, "sub");
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(file.size, 0);
  EXPECT_EQ(file.create_time, "1999-12-31T23:59:59.000Z");
  EXPECT_EQ(file.access_time, "1999-12-31T23:59:59.000Z");
  EXPECT_EQ(file.modify_time, "1999-12-31T23:59:59.000Z");
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] GetFileInfo id: [/docs/sub]", "1 [PROTOCOL  ] GetFileInfo dir: [2]",
                          "1 [PROTOCOL  ] GetFileInfoUsingGetFileList id: [/docs/sub]",
                          "1 [PROTOCOL  ] _GetFileList id: [/docs]",
                          StartsWith("1 [PROTOCOL  ] _GetFileList id: [/docs] , dir data : ["),
                          "1 [PROTOCOL  ] _GetFileList Found: [sub]"));
}

TEST_F(FileInfo, ADirectoryAtTheTopIsLookedUpInTheRoot) {
  is_directory();
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains("1: MLSD /"));
  EXPECT_THAT(log.operations(), Contains("1 [PROTOCOL  ] _GetFileList id: []"));
  EXPECT_EQ(file.name, "docs");
}

TEST_F(FileInfo, ADirectoryThatIsNotListedLeavesTheRecordAlone) {
  is_directory();
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/none", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.id, "/docs/none");
  EXPECT_EQ(file.name, "kept");
  EXPECT_EQ(file.modify_time, "before");
}

TEST_F(FileInfo, TheFirstOfTwoEqualNamesWins) {
  is_directory();
  server.set_mlsd("/docs", "type=dir;modify=20010101000000; x\r\ntype=dir;modify=20020202000000; x\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/x", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.modify_time, "2001-01-01T00:00:00.000Z");
}

TEST_F(FileInfo, ALookUpThatCannotReadTheParentFails) {
  is_directory();
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/none/sub", &file, nullptr), FAILED);
  EXPECT_EQ(file.modify_time, "before");
}

TEST_F(FileInfo, LeavesNothingBehindForTheNextRequest) {
  connected();
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre("a.txt", "my file.txt", "sub"));
  EXPECT_EQ(server.logins(), 1u);
}

}  // namespace
