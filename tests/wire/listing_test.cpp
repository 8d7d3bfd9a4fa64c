// Listing directories: which command, on which connection, and what reaches the host.
#include <chrono>

#include "tests/wire/listing_fixture.h"

namespace {

using fakes::FileList;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using wire::Listing;

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

TEST_F(Listing, IsNotHeldBackByTheSpeedLimitOfAnEarlierRead) {
  for (int n = 0; n < 3000; ++n) server.add_file("/many/" + std::string(180, 'n') + std::to_string(n), "");
  connected();
  ASSERT_EQ(protocol->SetOpt("speedlimit", "1000"), SUCCESS);
  fakes::FetchSink sink;
  ASSERT_EQ(protocol->Read("/docs/a.txt", 0, 11, nullptr, &sink, nullptr), SUCCESS);
  // At 1,000 bytes per second its 600,000 bytes would take minutes, longer than the test may.
  EXPECT_EQ(protocol->GetFileList("/many", &list, nullptr), SUCCESS);
  EXPECT_EQ(list.files().size(), 3000U);
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

}  // namespace
