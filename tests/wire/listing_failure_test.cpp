// Listings that fail, are tried again, or never end.
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "tests/wire/listing_fixture.h"

namespace {

using fakes::FileList;
using fakes::FtpServer;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using wire::Listing;

TEST_F(Listing, AMissingDirectoryFailsAndDropsTheConnection) {
  connected();
  EXPECT_EQ(protocol->GetFileList("/none", &list, nullptr), FAILED);
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] _GetFileList id: [/none]",
                          StartsWith("8 [PROTOCOL  ] read_dir id: [/none] , exec error: [")));
  EXPECT_THAT(list.files(), IsEmpty());
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: EPSV", "1: TYPE A", "1: MLSD none", "1: QUIT"));
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 2u);
}

TEST_F(Listing, ALineBreakInAPathIsNeverSent) {
  connected();
  for (const char* path : {"/docs\r\nDELE big.bin", "/docs\nDELE big.bin", "/docs\rx"}) {
    log.clear();
    EXPECT_EQ(protocol->GetFileList(path, &list, nullptr), FAILED);
    EXPECT_THAT(log.operations(),
                ElementsAre(StartsWith("1 [PROTOCOL  ] _GetFileList id: ["),
                            std::string{"8 [PROTOCOL  ] read_dir id: ["} + path + "] , exec error: [3]"));
  }
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  server.lacks("MLST");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs\r\nDELE big.bin", &list, nullptr), FAILED);
  EXPECT_THAT(log.operations(), Contains(HasSubstr("exec error: [3]")));
  released();
  EXPECT_EQ(server.count("DELE"), 0u);
  EXPECT_EQ(server.count("CWD"), 0u);
}

TEST_F(Listing, AnUnreadableEpsvReplyIsTriedTwentyOneTimes) {
  server.on("EPSV").reply("229 Entering Extended Passive Mode (nonsense)");
  connected();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), FAILED);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{2100}));
  EXPECT_EQ(server.count("EPSV"), 21u);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] _GetFileList id: [/docs]",
                                            "8 [PROTOCOL  ] read_dir id: [/docs] , exec error: [13]"));
}

TEST_F(Listing, AWrongCodeForPasvIsTriedAgainUntilItIsRight) {
  server.lacks("EPSV");
  server.on("PASV").reply("250 nonsense").times(3);
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(server.count("PASV"), 4u);
  EXPECT_EQ(server.logins(), 1u);
  EXPECT_EQ(list.files().size(), 3u);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), IsEmpty());
}

TEST_F(Listing, AnUnreadablePasvReplyIsNotTriedAgain) {
  server.lacks("EPSV");
  server.on("PASV").reply("227 nonsense");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), FAILED);
  EXPECT_EQ(server.count("PASV"), 1u);
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] read_dir id: [/docs] , exec error: [14]"));
}

TEST_F(Listing, AServerThatBreaksOffInTheMiddleFails) {
  connected();
  server.on("MLSD").break_data_after(10).times(1);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), FAILED);
  server.on("MLSD").hang_up_after_data(10).times(1);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), FAILED);
  server.on("MLSD").closing("451 Disk on fire.").times(1);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), FAILED);
  EXPECT_THAT(list.files(), IsEmpty());
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").size(), 3u);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 4u);
}

TEST_F(Listing, NoMatchingFilesIsAnEmptyListing) {
  server.lacks("MLST");
  server.on("LIST").reply("450 No files found.");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.files(), IsEmpty());
}

TEST_F(Listing, ARefusalForTheMomentIsNoEmptyListing) {
  connected();
  server.on("MLSD").reply("450 Busy.").times(2);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] read_dir id: [/docs] , exec error: [8]"));
  _FS_FILE_V2 folder;
  folder.attr = FS_ATTR_DIRECTORY;
  EXPECT_EQ(protocol->GetFileInfo("/docs/sub", &folder, nullptr), FAILED);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(list.files().size(), 3u);
}

/// Lists a directory in a process of its own, which an alarm ends after three seconds.
void list_a_total_line() {
  FtpServer server;
  server.lacks("MLST");
  server.set_list("/", "total 1\r\n-rw-r--r--   1 owner    group              11 Jan  2  2024 a.txt\r\n");
  fakes::ScopedProtocol protocol;
  FileList list;
  if (protocol->Connect(nullptr, fakes::login_document(server.url()).c_str()) != SUCCESS) std::_Exit(1);
  ::alarm(3);
  if (protocol->GetFileList("/", &list, nullptr) != SUCCESS) std::_Exit(2);
  std::_Exit(list.names() == std::vector<std::string>{"", "a.txt"} ? 0 : 3);
}

TEST(ListingDeathTest, AFirstLineWithTotalNeverReturnsUnlessTheHeaderScanIsBounded) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
#ifdef FTP_BOUNDED_HEADER_SCAN
  EXPECT_EXIT(list_a_total_line(), testing::ExitedWithCode(0), "");
#else
  EXPECT_EXIT(list_a_total_line(), testing::KilledBySignal(SIGALRM), "");
#endif
}

TEST_F(Listing, AnIdleConnectionThatTheServerClosedIsReplaced) {
  server.on("FEAT").hang_up_after_reply();
  ASSERT_EQ(connect(), SUCCESS);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 2u);
  EXPECT_EQ(list.files().size(), 3u);
}

}  // namespace
