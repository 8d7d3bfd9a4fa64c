// Listing directories: which command, on which connection, and what reaches the host.
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "tests/wire/latin1_locale.h"
#include "tests/wire/wire_fixture.h"

namespace {

using fakes::FileList;
using fakes::FtpServer;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class Listing : public wire::Wire {
 protected:
  std::vector<std::string> ids() const {
    std::vector<std::string> ids;
    for (const _FS_FILE_V2& file : list.files()) ids.push_back(file.id);
    return ids;
  }

  FileList list;
};

TEST_F(Listing, AsksForMlsdAndDeliversEveryEntry) {
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: EPSV", "1: TYPE A", "1: MLSD docs"));

  ASSERT_EQ(list.files().size(), 3u);
  const _FS_FILE_V2& file = list.files()[0];
  EXPECT_EQ(file.id, "/docs/a.txt");
  EXPECT_EQ(file.name, "a.txt");
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.create_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.access_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.host_ref, nullptr);
  EXPECT_THAT(file.host_list, IsEmpty());
  EXPECT_EQ(list.files()[1].name, "my file.txt");
  EXPECT_EQ(list.files()[2].attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(list.files()[2].modify_time, "1999-12-31T23:59:59.000Z");
}

TEST_F(Listing, LogsTheReplyAndEachEntry) {
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(
      log.operations(),
      ElementsAre("1 [PROTOCOL  ] _GetFileList id: [/docs]",
                  "1 [PROTOCOL  ] _GetFileList id: [/docs] , dir data : ["
                  "type=file;size=11;modify=20240102030405; a.txt\n"
                  "type=file;size=5;modify=20240102030405; my file.txt\n"
                  "type=dir;modify=19991231235959; sub\n]",
                  "1 [PROTOCOL  ] _GetFileList AddFile: [/docs/a.txt] name[a.txt] attr[1] "
                  "time[2024-01-02T03:04:05.000Z]",
                  "1 [PROTOCOL  ] _GetFileList AddFile: [/docs/my file.txt] name[my file.txt] attr[1] "
                  "time[2024-01-02T03:04:05.000Z]",
                  "1 [PROTOCOL  ] _GetFileList AddFile: [/docs/sub] name[sub] attr[2] "
                  "time[1999-12-31T23:59:59.000Z]"));
}

// The limit of an earlier read stays on the handle. libcurl would fill a hundred of its own buffers (1.6 MB)
// before it looks at the clock, and under a low limit then wait so long that the server passes for silent.
TEST_F(Listing, KeepsToASpeedLimitFromTheBeginning) {
  for (int n = 0; n < 3000; ++n) server.add_file("/many/" + std::string(180, 'n') + std::to_string(n), "");
  connected();
  ASSERT_EQ(protocol->SetOpt("speedlimit", "400000"), SUCCESS);
  fakes::FetchSink sink;
  ASSERT_EQ(protocol->Read("/docs/a.txt", 0, 11, nullptr, &sink, nullptr), SUCCESS);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(protocol->GetFileList("/many", &list, nullptr), SUCCESS);
  EXPECT_EQ(list.files().size(), 3000U);
  EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds{500})
      << "at most 400,000 of the listing's 600,000 bytes may come at once";
}

TEST_F(Listing, UsesOneConnectionForMany) {
  connected();
  for (int n = 0; n < 5; ++n) {
    FileList each;
    EXPECT_EQ(protocol->GetFileList("/docs", &each, nullptr), SUCCESS);
    EXPECT_EQ(each.files().size(), 3u);
  }
  EXPECT_EQ(server.logins(), 1u);
}

TEST_F(Listing, AsksForListWhereTheServerRefusedTheMlstOptions) {
  server.lacks("MLST");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  // On a connection that was used before, libcurl goes back to the directory of the login first. This is the
  // second one, since the refusal cost the first.
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: CWD /", "1: CWD docs", "1: EPSV", "1: TYPE A", "1: LIST"));
  ASSERT_EQ(list.files().size(), 3u);
  EXPECT_EQ(list.files()[0].id, "/docs/a.txt");
  EXPECT_EQ(list.files()[0].size, 11);
  EXPECT_EQ(list.files()[1].name, "my file.txt");
  EXPECT_EQ(list.files()[2].attr, FS_ATTR_DIRECTORY);
}

TEST_F(Listing, APathWithABracketIsAlwaysListed) {
  server.add_file("/docs/[1] new/x", "x");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs/[1] new", &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: CWD /", "1: CWD docs", "1: CWD [1] new", "1: EPSV", "1: TYPE A", "1: LIST"));
  EXPECT_THAT(ids(), ElementsAre("/docs/[1] new/x"));
}

TEST_F(Listing, EncodesThePathInTheUrlAndNotInTheCommand) {
  const std::string name = "100% a#b?c;type=i é~";
  server.add_file("/" + name + "/x", "x");
  connected();
  EXPECT_EQ(protocol->GetFileList(("/" + name).c_str(), &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains("1: MLSD " + name));
  server.lacks("MLST");
  connected();
  EXPECT_EQ(protocol->GetFileList(("/" + name).c_str(), &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains("2: CWD " + name));
  EXPECT_EQ(list.files().size(), 2u);
}

TEST_F(Listing, ComesBackToTheStartAfterAList) {
  server.lacks("MLST");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  (void)server.take_dialogue();
  EXPECT_EQ(protocol->GetFileList("/", &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: CWD /", "1: EPSV", "1: LIST"));
  EXPECT_THAT(list.names(), Contains("big.bin"));
}

TEST_F(Listing, StaysBelowTheRootPath) {
  server.add_file("/docs/sub/b.txt", "b");
  connected("/docs");
  EXPECT_EQ(protocol->GetFileList("/sub", &list, nullptr), SUCCESS);
  EXPECT_EQ(protocol->GetFileList("/", &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), AllOf(Contains("1: MLSD docs/sub"), Contains("1: MLSD docs/")));
  EXPECT_THAT(ids(), ElementsAre("/sub/b.txt", "/a.txt", "/my file.txt", "/sub"));
}

TEST_F(Listing, ATrailingSlashOfTheUrlMakesListedPathsAbsolute) {
  server.lacks("MLST");
  server.start_in("/docs");
  connected("/docs/");
  EXPECT_EQ(protocol->GetFileList("/sub", &list, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: CWD /", "1: CWD docs", "1: CWD sub", "1: EPSV", "1: TYPE A", "1: LIST"));
}

TEST_F(Listing, NamesTheRootInThreeWays) {
  connected();
  for (const char* root : {"/", "", static_cast<const char*>(nullptr)}) {
    FileList each;
    EXPECT_EQ(protocol->GetFileList(root, &each, nullptr), SUCCESS);
    ASSERT_EQ(each.files().size(), 2u);
    EXPECT_EQ(each.files()[0].id, "/big.bin");
    EXPECT_EQ(each.files()[1].id, "/docs");
    EXPECT_EQ(server.dialogue().back(), "1: MLSD /");
  }
  EXPECT_THAT(log.operations(), Contains("1 [PROTOCOL  ] _GetFileList id: []"));
}

TEST_F(Listing, DoublesTheSlashOfAPathThatEndsInOne) {
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs/", &list, nullptr), SUCCESS);
  EXPECT_THAT(ids(), Contains("/docs//a.txt"));
}

TEST_F(Listing, DeliversDotsAndLinesThatNobodyUnderstands) {
  server.set_mlsd("/docs", "type=cdir; .\r\ntype=pdir; ..\r\nnonsense\r\ntype=file;size=1; x\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre(".", "..", "", "x"));
  EXPECT_EQ(list.files()[2].id, "/docs/");
  EXPECT_EQ(list.files()[2].attr, 0u);
}

TEST_F(Listing, RemovesTheCarriageReturnOfALine) {
  server.set_mlsd("/docs", "type=file;size=1; crlf\r\ntype=file;size=1; lf\ntype=file;size=1; last");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre("crlf", "lf", "last"));
}

TEST_F(Listing, ASecondCarriageReturnMakesALineOfItsOwn) {
  // libcurl turns the line ends of ASCII transfers into LF, a lone CR included.
  server.set_mlsd("/docs", "type=file;size=1; twice\r\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre("twice", ""));
}

TEST_F(Listing, AnEmptyDirectoryIsAnEmptySuccess) {
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs/sub", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.files(), IsEmpty());
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] _GetFileList id: [/docs/sub]"));
}

TEST_F(Listing, WithoutAListNothingIsParsed) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->GetFileList("/docs", nullptr, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(server.count("MLSD"), 1u);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] _GetFileList id: [/docs]"));
}

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

TEST_F(Listing, AVxWorksServerIsRecognisedOnceAndForAll) {
  server.lacks("MLST");
  server.set_list("/docs",
                  "  size          date       time       name\r\n"
                  "--------       ------     ------    --------\r\n"
                  "     512    JAN-02-2004  03:04:06   ATA   <DIR>\r\n");
  server.set_list("/docs/sub", "     100    JAN-02-2004  03:04:06   file.txt\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  ASSERT_EQ(list.files().size(), 3u);
  EXPECT_EQ(list.files()[0].name, "") << "the header line is delivered as an empty record";
  EXPECT_EQ(list.files()[2].name, "ATA");
  EXPECT_EQ(list.files()[2].attr, FS_ATTR_DIRECTORY);
  FileList later;
  EXPECT_EQ(protocol->GetFileList("/docs/sub", &later, nullptr), SUCCESS);
  ASSERT_EQ(later.files().size(), 1u);
  EXPECT_EQ(later.files()[0].name, "file.txt");
  EXPECT_EQ(later.files()[0].size, 100);
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

TEST_F(Listing, TenThousandEntriesArriveInOrder) {
  std::string raw;
  for (int n = 0; n < 10000; ++n)
    raw += "type=file;size=" + std::to_string(n) + "; file" + std::to_string(n) + "\r\n";
  server.set_mlsd("/docs", raw);
  connected();
  fakes::plugin().UnbindLogger();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  ASSERT_EQ(list.files().size(), 10000u);
  for (std::size_t n = 0; n < 10000; ++n) {
    ASSERT_EQ(list.files()[n].size, static_cast<std::int64_t>(n));
    ASSERT_EQ(list.files()[n].name, "file" + std::to_string(n));
  }
}

TEST_F(Listing, ConvertsNamesFromTheLocaleWhereTheServerHasNoUtf8) {
  const wire::Latin1Locale locale;
  ASSERT_TRUE(locale) << "localedef and the character maps of the package `locales` are needed";
  server.lacks("UTF8");
  server.set_mlsd("/docs", std::string{"type=file;size=1; "} + wire::kLatin1Name + "\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  ASSERT_EQ(list.files().size(), 1u);
  EXPECT_EQ(list.files()[0].name, wire::kUtf8Name);
  EXPECT_EQ(list.files()[0].id, std::string{"/docs/"} + wire::kLatin1Name)
      << "the identifier keeps the server's bytes";
}

TEST_F(Listing, LeavesNamesAloneWhereUtf8IsAcceptedOrForced) {
  const wire::Latin1Locale locale;
  ASSERT_TRUE(locale) << "localedef and the character maps of the package `locales` are needed";
  server.set_mlsd("/docs", std::string{"type=file;size=1; "} + wire::kLatin1Name + "\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  server.lacks("UTF8");
  set_options({{"charset", "Force UTF-8"}});
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre(wire::kLatin1Name, wire::kLatin1Name));
}

TEST_F(Listing, KeepsANameThatCannotBeConverted) {
  // In the "C" locale only ASCII converts.
  set_options({{"charset", "Local charset"}});
  server.set_mlsd("/docs", "type=file;size=1; caf\xe9\r\n");
  connected();
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre(wire::kLatin1Name));
}

TEST_F(Listing, ALookUpComparesTheServersBytes) {
  const wire::Latin1Locale locale;
  ASSERT_TRUE(locale) << "localedef and the character maps of the package `locales` are needed";
  set_options({{"charset", "Local charset"}});
  server.set_mlsd("/docs", std::string{"type=dir;modify=20200102030405; "} + wire::kLatin1Name + "\r\n");
  connected();
  _FS_FILE_V2 converted;
  converted.attr = FS_ATTR_DIRECTORY;
  EXPECT_EQ(protocol->GetFileInfo((std::string{"/docs/"} + wire::kUtf8Name).c_str(), &converted, nullptr),
            SUCCESS);
  EXPECT_EQ(converted.modify_time, "") << "a name that matches after conversion only is not found";
  _FS_FILE_V2 raw;
  raw.attr = FS_ATTR_DIRECTORY;
  EXPECT_EQ(protocol->GetFileInfo((std::string{"/docs/"} + wire::kLatin1Name).c_str(), &raw, nullptr),
            SUCCESS);
  EXPECT_EQ(raw.modify_time, "2020-01-02T03:04:05.000Z");
  EXPECT_EQ(raw.name, wire::kUtf8Name);
}

}  // namespace
