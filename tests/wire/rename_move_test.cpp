// Renaming and moving: two commands, what the record holds afterwards, and what becomes of the connection.
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/latin1_locale.h"
#include "tests/wire/changes_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Move : public wire::Changes {};
using Rename = Move;
using MoveDir = Move;

TEST_F(Move, SendsBothNamesBehindAnEmptyRequestAndReadsSizeAndTimeAgain) {
  connected();
  _FS_FILE_V2 file = named("b c.txt");
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs/sub", &file, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: RNFR docs/a.txt", "1: RNTO docs/sub/b c.txt", "1: CWD /", "1: CWD docs",
                          "1: CWD sub", "1: MDTM b c.txt", "1: TYPE I", "1: SIZE b c.txt", "1: REST 0"));
  EXPECT_THAT(
      log.operations(),
      ElementsAre("1 [PROTOCOL  ] Move id [/docs/a.txt], target [/docs/sub], filename [b c.txt], attr[1]",
                  "1 [PROTOCOL  ] GetFileInfo id: [/docs/sub/b c.txt]",
                  "1 [PROTOCOL  ] GetFileInfo dir: [0]"));
  EXPECT_EQ(server.file("/docs/a.txt"), std::nullopt);
  EXPECT_EQ(server.file("/docs/sub/b c.txt"), "hello world");
  EXPECT_EQ(file.id, "/docs/sub/b c.txt");
  EXPECT_EQ(file.name, "b c.txt");
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.create_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.access_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  expect_kept();
}

TEST_F(Move, AnEmptySourceOrTargetIsTheTop) {
  connected();
  _FS_FILE_V2 file = named("a.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", nullptr, &file, nullptr), SUCCESS);
  EXPECT_EQ(file.id, "/a.txt");
  EXPECT_EQ(protocol->Move("a.txt", "", &(file = named("b.txt")), nullptr), SUCCESS);
  EXPECT_EQ(file.id, "/b.txt");
  EXPECT_EQ(server.file("/b.txt"), "hello world");
  EXPECT_THAT(server.dialogue(), Contains("1: RNTO a.txt"));
  EXPECT_THAT(server.dialogue(), Contains("1: RNTO b.txt"));
}

// A target of "/" gives two slashes, of which one goes: the path is absolute, not relative to the login
// directory.
TEST_F(Move, ATargetOfASlashMeansTheServersRoot) {
  server.start_in("/docs");
  connected();
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/a.txt", "/", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.file("/b.txt"), "hello world");
  EXPECT_EQ(file.id, "//b.txt");
  EXPECT_EQ(file.size, 11);
}

TEST_F(Move, StaysBelowTheRootPath) {
  connected("/docs");
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/a.txt", "/sub", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.file("/docs/sub/b.txt"), "hello world");
  EXPECT_EQ(file.id, "/sub/b.txt");
}

TEST_F(Move, TheRootIsReportedAsDoneAndNothingIsSent) {
  struct {
    const char* src;
    const char* target;
    const char* name;
  } const cases[] = {{"/", "/docs", "b"},
                     {nullptr, "/docs", "b"},
                     {"", "/docs", "b"},
                     {"/docs/a.txt", "", ""},
                     {"/", "/docs", "a\r\nDELE docs/a.txt"},
                     {"/", "/docs\n", "b"}};
  for (const auto& row : cases) {
    connected();
    _FS_FILE_V2 file = named(row.name);
    char text = 'x';
    char* message = &text;
    EXPECT_EQ(protocol->Move(row.src, row.target, &file, &message), SUCCESS);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(file.id, "") << "nothing was read";
    EXPECT_EQ(log.operations().size(), 1u);
    ASSERT_TRUE(server.wait_until_idle()) << "the connection is dropped";
    EXPECT_THAT(server.take_dialogue(), ElementsAre(HasSubstr("QUIT")));
  }
}

TEST_F(Move, ARefusedSourceEndsItBeforeTheTargetIsNamed) {
  connected();
  _FS_FILE_V2 file = named("b.txt");
  file.size = 77;
  EXPECT_EQ(protocol->Move("/docs/none", "/docs/sub", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(file.id, "");
  EXPECT_EQ(file.size, 77);
  EXPECT_THAT(
      log.operations(),
      ElementsAre("1 [PROTOCOL  ] Move id [/docs/none], target [/docs/sub], filename [b.txt], attr[1]",
                  "8 [PROTOCOL  ] Move src: [/docs/none] , target: [b.txt] exec error: [21]"));
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: RNFR docs/none", "1: QUIT"));
  expect_dropped();
}

TEST_F(Move, ARefusedTargetFailsAndDropsTheConnection) {
  connected();
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/nowhere", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_NE(server.file("/docs/a.txt"), std::nullopt);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: RNFR docs/a.txt", "1: RNTO nowhere/b.txt", "1: QUIT"));
}

TEST_F(Move, AnExistingTargetIsTheServersAffair) {
  connected();
  _FS_FILE_V2 file = named("my file.txt");
  server.on("RNTO").reply("553 It exists.").times(1);
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(server.file("/docs/my file.txt"), "blank");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.file("/docs/my file.txt"), "hello world");
  EXPECT_EQ(file.size, 11);
}

TEST_F(Move, IsDeniedWhereTheLoginDirectoryCannotBeEntered) {
  connected();
  _FS_FILE_V2 file;
  ASSERT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  server.on("CWD").reply("550 Not any more.").times(1);
  (void)server.take_dialogue();
  _FS_FILE_V2 moved = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &moved, nullptr), ACCESS_DENIED);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), Not(Contains(HasSubstr("RNFR"))));
  EXPECT_THAT(log.operations(),
              Contains("8 [PROTOCOL  ] Move src: [/docs/a.txt] , target: [b.txt] exec error: [9]"));
}

TEST_F(Move, AServerThatHangsUpBetweenTheCommandsFails) {
  server.on("RNTO").hang_up();
  connected();
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_NE(server.file("/docs/a.txt"), std::nullopt);
}

TEST_F(Move, ASecondReplyToTheSourceIsNoAnswerToTheTarget) {
  connected();
  server.on("RNFR").reply("350 To what?\r\n250 Renamed.").times(1);
  server.on("RNTO").reply("553 Not you.").times(1);
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] Move src: [/docs/a.txt] , target: [b.txt] exec error: [8]"));
  expect_dropped();
}

TEST_F(Move, AFailedReReadIsTheResultAndTheConnectionIsKept) {
  connected();
  server.on("SIZE").reply("550 Where is it?");
  server.on("MDTM").reply("550 Where is it?");
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), FAILED);
  EXPECT_EQ(file.id, "/docs/b.txt");
  EXPECT_EQ(file.size, -1);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] ftp_get_info id: [/docs/b.txt] , exec error: [78]"));
  EXPECT_EQ(server.connections_seen(), 1u) << "the re-read found the connection given back";
}

TEST_F(Move, FailsWithoutAnErrorLineWhenNobodyAnswers) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  server.stop();
  log.clear();
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), FAILED);
  EXPECT_EQ(log.operations().size(), 1u);
}

TEST_F(Move, NeverSendsALineBreak) {
  connected();
  for (const char* text : wire::kLineBreaks) {
    const std::string broken = text;
    struct {
      const char* src;
      const char* target;
      std::string name;
    } const cases[] = {{text, "/docs", "b"}, {"/docs/a.txt", text, "b"}, {"/docs/a.txt", "/docs", broken}};
    for (const auto& row : cases) {
      log.clear();
      _FS_FILE_V2 file = named(row.name);
      EXPECT_EQ(protocol->Move(row.src, row.target, &file, nullptr), FILE_WRITE_FAILED);
      EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
                  ElementsAre("8 [PROTOCOL  ] Move src: [" + std::string{row.src} + "] , target: [" +
                              row.name + "] exec error: [3]"));
      EXPECT_EQ(protocol->Rename(row.src, row.target, &file, nullptr), FILE_WRITE_FAILED);
      EXPECT_EQ(protocol->MoveDir(row.src, row.target, &file, nullptr), FILE_WRITE_FAILED);
    }
  }
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  expect_kept();
}

TEST_F(Move, TheConvertedNameGoesIntoTheCommandAndTheReRead) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  connected();
  _FS_FILE_V2 file = named(fakes::kUtf8Name);
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), SUCCESS);
  const std::string latin1 = fakes::kLatin1Name;
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: RNFR docs/a.txt", "1: RNTO docs/" + latin1, "1: CWD /", "1: CWD docs",
                          "1: MDTM " + latin1, "1: TYPE I", "1: SIZE " + latin1, "1: REST 0"));
  EXPECT_EQ(file.id, "/docs/" + latin1);
  EXPECT_EQ(file.name, fakes::kUtf8Name);
  EXPECT_EQ(file.size, 11);
}

TEST_F(Move, TheErrorLineShowsTheConvertedName) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  connected();
  _FS_FILE_V2 file = named(fakes::kUtf8Name);
  EXPECT_EQ(protocol->Move("/docs/none", "/docs", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre(std::string{"8 [PROTOCOL  ] Move src: [/docs/none] , target: ["} +
                          fakes::kLatin1Name + "] exec error: [21]"));
}

TEST_F(Rename, IsAMoveWithALineOfItsOwn) {
  connected();
  _FS_FILE_V2 file = named("b.txt");
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->Rename("/docs/a.txt", "/docs", &file, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(
      log.operations(),
      ElementsAre("1 [PROTOCOL  ] Rename id [/docs/a.txt], target [/docs], filename [b.txt], attr[1]",
                  "1 [PROTOCOL  ] Move id [/docs/a.txt], target [/docs], filename [b.txt], attr[1]",
                  "1 [PROTOCOL  ] GetFileInfo id: [/docs/b.txt]", "1 [PROTOCOL  ] GetFileInfo dir: [0]"));
  EXPECT_EQ(server.file("/docs/b.txt"), "hello world");
  EXPECT_EQ(file.size, 11);
  expect_kept();
}

TEST_F(Rename, OfADirectoryReadsTheParentAgain) {
  connected();
  _FS_FILE_V2 file = named("other", FS_ATTR_DIRECTORY);
  EXPECT_EQ(protocol->Rename("/docs/sub", "/docs", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: RNFR docs/sub", "1: RNTO docs/other", "1: EPSV", "1: TYPE A", "1: MLSD docs"));
  EXPECT_EQ(file.modify_time, "1999-12-31T23:59:59.000Z");
}

TEST_F(MoveDir, MarksTheRecordAsADirectoryAndReadsTheParentAgain) {
  connected();
  server.add_directory("/target");
  _FS_FILE_V2 file = named("sub", FS_ATTR_FILE);
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->MoveDir("/docs/sub", "/target", &file, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: RNFR docs/sub", "1: RNTO target/sub", "1: EPSV",
                                                  "1: TYPE A", "1: MLSD target"));
  EXPECT_THAT(
      log.operations(),
      ElementsAre("1 [PROTOCOL  ] MoveDir id [/docs/sub], target [/target], filename [sub], attr[1]",
                  "1 [PROTOCOL  ] Move id [/docs/sub], target [/target], filename [sub], attr[2]",
                  "1 [PROTOCOL  ] GetFileInfo id: [/target/sub]", "1 [PROTOCOL  ] GetFileInfo dir: [2]",
                  "1 [PROTOCOL  ] GetFileInfoUsingGetFileList id: [/target/sub]",
                  "1 [PROTOCOL  ] _GetFileList id: [/target]",
                  HasSubstr("_GetFileList id: [/target] , dir data : ["),
                  "1 [PROTOCOL  ] _GetFileList Found: [sub]"));
  EXPECT_EQ(file.id, "/target/sub");
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(file.modify_time, "1999-12-31T23:59:59.000Z");
  expect_kept();
}

/// Three idle connections that stand in /docs.
class WithThreeConnections : public wire::Changes {
 protected:
  void three_connections() {
    fakes::Gate gate;
    server.on("STOR").on_connection(1).hold(gate);
    server.on("STOR").on_connection(2).hold(gate);
    connected();
    std::vector<std::thread> threads;
    for (const char* name : {"1", "2", "3"}) {
      threads.emplace_back([this, name] {
        fakes::CacheSource cache{"x"};
        _FS_FILE_V2 file = named(name);
        file.size = 1;
        EXPECT_EQ(protocol->Upload("/docs", fakes::make_handle(), &cache, &file, UPLOAD_FLAG_NONE, nullptr),
                  SUCCESS);
      });
    }
    EXPECT_TRUE(gate.await_arrivals(2));
    EXPECT_TRUE(server.wait_for([this] { return server.connections_seen() == 3; }));
    gate.open();
    for (std::thread& thread : threads) thread.join();
    (void)server.take_dialogue();
  }
};
using MovedFolder = WithThreeConnections;

TEST_F(MovedFolder, IsLeftByEveryConnectionThatStandsInIt) {
  three_connections();
  _FS_FILE_V2 file = named("other", FS_ATTR_DIRECTORY);
  EXPECT_EQ(protocol->Move("/docs/sub", "/docs", &file, nullptr), SUCCESS);  // takes two connections
  (void)server.take_dialogue();
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &(file = {}), nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre(EndsWith(": CWD /"), EndsWith(": CWD /"), EndsWith(": CWD docs"),
                          EndsWith(": MDTM a.txt"), EndsWith(": SIZE a.txt"), EndsWith(": REST 0")));
}

TEST_F(MovedFolder, IsNotMetByAFileThatMoves) {
  three_connections();
  _FS_FILE_V2 file = named("b.txt");
  EXPECT_EQ(protocol->Move("/docs/a.txt", "/docs", &file, nullptr), SUCCESS);
  (void)server.take_dialogue();
  EXPECT_EQ(protocol->GetFileInfo("/docs/b.txt", &(file = {}), nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre(EndsWith(": MDTM b.txt"), EndsWith(": SIZE b.txt"), EndsWith(": REST 0")));
}

TEST_F(MovedFolder, IsLikeARemovedOne) {
  three_connections();
  EXPECT_EQ(protocol->DeleteDirectory("/docs/sub", nullptr), SUCCESS);
  (void)server.take_dialogue();
  _FS_FILE_V2 file;
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre(EndsWith(": CWD /"), EndsWith(": CWD /"), EndsWith(": CWD docs"),
                          EndsWith(": MDTM a.txt"), EndsWith(": SIZE a.txt"), EndsWith(": REST 0")));
}

TEST_F(MoveDir, LeavesTheMarkWhenItFails) {
  connected();
  _FS_FILE_V2 file = named("sub", FS_ATTR_FILE);
  EXPECT_EQ(protocol->MoveDir("/docs/none", "/docs", &file, nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
}

}  // namespace
