// Creating and deleting: one command each, what the record holds afterwards, and what becomes of the
// connection.
#include <string>

#include "tests/fakes/latin1_locale.h"
#include "tests/wire/changes_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// ---- deleting ----

class Delete : public wire::Changes {};

TEST_F(Delete, SendsTheBarePathBehindAnEmptyRequest) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->Delete("/docs/a.txt", &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: DELE docs/a.txt"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Delete id: [/docs/a.txt]"));
  EXPECT_EQ(server.file("/docs/a.txt"), std::nullopt);
  expect_kept();
}

TEST_F(Delete, SendsAPathThatHoldsBlanksAsItIs) {
  server.add_file("/docs/ two  blanks \"quoted\" %s", "x");
  connected();
  EXPECT_EQ(protocol->Delete("/docs/ two  blanks \"quoted\" %s", nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: DELE docs/ two  blanks \"quoted\" %s"));
}

TEST_F(Delete, StaysBelowTheRootPath) {
  connected("/docs");
  EXPECT_EQ(protocol->Delete("/a.txt", nullptr), SUCCESS);
  EXPECT_EQ(protocol->DeleteDirectory("sub", nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: DELE docs/a.txt", "1: RMD docs/sub"));
}

TEST_F(Delete, GoesBackToTheLoginDirectoryBehindAnOperationElsewhere) {
  server.start_in("/docs");
  connected();
  _FS_FILE_V2 file;
  server.add_file("/docs/sub/a.txt", "the other one");
  ASSERT_EQ(protocol->GetFileInfo("/sub/a.txt", &file, nullptr), SUCCESS);
  (void)server.take_dialogue();
  EXPECT_EQ(protocol->Delete("/a.txt", nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: CWD /docs", "1: DELE a.txt"));
  EXPECT_EQ(server.file("/docs/a.txt"), std::nullopt);
  EXPECT_NE(server.file("/docs/sub/a.txt"), std::nullopt);
}

TEST_F(Delete, TakesTheRightFileWhereTheServerDoesNotTellTheLoginDirectory) {
  server.on("PWD").reply("502 Not implemented.");
  server.add_file("/a.txt", "the other one");
  connected();
  _FS_FILE_V2 file;
  ASSERT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  ASSERT_EQ(protocol->GetFileInfo("/docs/my file.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(protocol->Delete("/a.txt", nullptr), SUCCESS);
  EXPECT_EQ(server.file("/a.txt"), std::nullopt);
  EXPECT_NE(server.file("/docs/a.txt"), std::nullopt);
  EXPECT_EQ(server.count("DELE"), 1u);
}

TEST_F(Delete, ASecondReplyIsNotKeptForTheNextRequest) {
  // In one piece, so that libcurl reads both replies at once.
  server.on("DELE /").reply("250 Gone.\r\n250 Gone again.").on_connection(1).times(1);
  connected();
  EXPECT_EQ(protocol->Delete("/", nullptr), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/my file.txt", nullptr), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 2u);
  EXPECT_THAT(log.lines(), Each(Not(HasSubstr("Gone again"))));
  EXPECT_THAT(server.dialogue(2), ElementsAre("USER anonymous", "PASS ftp@example.com", "PWD",
                                              "DELE docs/a.txt", "DELE docs/my file.txt"));
}

TEST_F(Delete, WithoutAPathNamesTheRoot) {
  connected();
  EXPECT_EQ(protocol->Delete(nullptr, nullptr), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Delete id: []",
                                            "8 [PROTOCOL  ] _Delete id: [] , exec error: [21]"));
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: DELE /", "1: QUIT"));
}

TEST_F(Delete, ARefusalFailsAndDropsTheConnection) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Delete id: [/docs/none]",
                                            "8 [PROTOCOL  ] _Delete id: [/docs/none] , exec error: [21]"));
  expect_dropped();
  EXPECT_THAT(server.dialogue(1), Contains("QUIT"));
}

TEST_F(Delete, LeavesThePoolOneConnectionShortUntilItMakesANewOne) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/my file.txt", nullptr), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 2u);
}

TEST_F(Delete, TheKindOfRefusalMakesNoDifference) {
  connected();
  for (const char* refusal : {"450 Busy.", "500 Unknown.", "530 Not you.", "550 No.", "553 No such name."}) {
    server.on("DELE").reply(refusal).times(1);
    EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), FAILED) << refusal;
  }
  EXPECT_NE(server.file("/docs/a.txt"), std::nullopt);
}

TEST_F(Delete, AServerThatHangsUpInsteadOfAnsweringFails) {
  server.on("DELE").hang_up();
  connected();
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), FAILED);
  EXPECT_THAT(log.operations(), Contains(HasSubstr("_Delete id: [/docs/a.txt] , exec error: [")));
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: DELE docs/a.txt"));
}

TEST_F(Delete, LogsInAgainWhenTheServerHasClosedTheIdleConnection) {
  server.on("DELE").hang_up_after_reply().times(1);
  connected();
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), SUCCESS);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(protocol->Delete("/docs/my file.txt", nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 2u);
}

TEST_F(Delete, FailsWhereTheLoginDirectoryCannotBeEntered) {
  connected();
  _FS_FILE_V2 file;
  ASSERT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  server.on("CWD").reply("550 Not any more.").times(1);
  (void)server.take_dialogue();
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), FAILED);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), Not(Contains(HasSubstr("DELE"))));
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] _Delete id: [/docs/a.txt] , exec error: [9]"));
}

TEST_F(Delete, FailsWithoutALineWhenNobodyAnswers) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  server.stop();
  log.clear();
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), FAILED);
  EXPECT_EQ(protocol->DeleteDirectory("/docs/sub", nullptr), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Delete id: [/docs/a.txt]",
                                            "1 [PROTOCOL  ] DeleteDirectory id: [/docs/sub]"));
}

TEST_F(Delete, NeverSendsALineBreak) {
  connected();
  for (const char* name : wire::kLineBreaks) {
    log.clear();
    EXPECT_EQ(protocol->Delete(name, nullptr), FAILED);
    EXPECT_EQ(protocol->DeleteDirectory(name, nullptr), FAILED);
    const std::string line = std::string{"8 [PROTOCOL  ] _Delete id: ["} + name + "] , exec error: [3]";
    EXPECT_THAT(log.lines_with("8 [PROTOCOL"), ElementsAre(line, line));
  }
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  expect_kept();
}

TEST_F(Delete, SendsNamesInUtf8WhateverTheServerTakes) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  server.add_file(std::string{"/docs/"} + fakes::kUtf8Name, "x");
  connected();
  EXPECT_EQ(protocol->Delete((std::string{"/docs/"} + fakes::kUtf8Name).c_str(), nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre(std::string{"1: DELE docs/"} + fakes::kUtf8Name));
}

TEST_F(Delete, RemovesADirectory) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->DeleteDirectory("/docs/sub", &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: RMD docs/sub"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] DeleteDirectory id: [/docs/sub]"));
  expect_kept();
}

TEST_F(Delete, LeavesItToTheServerWhetherADirectoryMustBeEmpty) {
  connected();
  EXPECT_EQ(protocol->DeleteDirectory("/docs", nullptr), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] DeleteDirectory id: [/docs]",
                                            "8 [PROTOCOL  ] _Delete id: [/docs] , exec error: [21]"));
  expect_dropped();
  server.on("RMD").reply("250 Gone with all it held.");
  EXPECT_EQ(protocol->DeleteDirectory("/docs", nullptr), SUCCESS);
}

// ---- creating ----

class CreateDirectory : public wire::Changes {};

TEST_F(CreateDirectory, SendsMkdAndReadsTheParentAgain) {
  connected();
  _FS_FILE_V2 file = named("new one", 0);
  file.size = 77;
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: MKD docs/new one", "1: EPSV", "1: TYPE A", "1: MLSD docs"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] CreateDirectory id: [/docs]",
                                            "1 [PROTOCOL  ] GetFileInfo id: [/docs/new one]",
                                            "1 [PROTOCOL  ] GetFileInfo dir: [2]",
                                            "1 [PROTOCOL  ] GetFileInfoUsingGetFileList id: [/docs/new one]",
                                            "1 [PROTOCOL  ] _GetFileList id: [/docs]",
                                            HasSubstr("_GetFileList id: [/docs] , dir data : ["),
                                            "1 [PROTOCOL  ] _GetFileList Found: [new one]"));
  EXPECT_EQ(file.id, "/docs/new one");
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(file.name, "new one");
  EXPECT_EQ(file.size, 0);
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  expect_kept();
}

TEST_F(CreateDirectory, AtTheTopHasAnEmptyParent) {
  connected();
  _FS_FILE_V2 file = named("top");
  EXPECT_EQ(protocol->CreateDirectory(nullptr, &file, nullptr), SUCCESS);
  EXPECT_EQ(file.id, "/top");
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  _FS_FILE_V2 other = named("other");
  EXPECT_EQ(protocol->CreateDirectory("", &other, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MKD top", "1: EPSV", "1: TYPE A", "1: MLSD /",  //
                                                  "1: MKD other", "1: EPSV", "1: MLSD /"));
}

TEST_F(CreateDirectory, StaysBelowTheRootPath) {
  connected("/docs");
  _FS_FILE_V2 file = named("new");
  EXPECT_EQ(protocol->CreateDirectory("sub", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains("1: MKD docs/sub/new"));
  EXPECT_EQ(file.id, "/sub/new");
}

TEST_F(CreateDirectory, NeverCreatesTheRoot) {
  connected();
  _FS_FILE_V2 file = named("");
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->CreateDirectory("", &file, &message), FAILED);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] CreateDirectory id: []"));
  ASSERT_TRUE(server.wait_until_idle()) << "the connection is dropped";
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: QUIT"));
}

TEST_F(CreateDirectory, ADirectoryThatExistsIsRefusedByTheServer) {
  connected();
  _FS_FILE_V2 file = named("sub");
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), FOLDER_CREATION_FAILED);
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.id, "");
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] CreateDirectory id: [/docs]",
                                            "8 [PROTOCOL  ] CreateDirectory id: [/docs] , exec error: [21]"));
  expect_dropped();
}

TEST_F(CreateDirectory, DoesNotCreateMissingParents) {
  connected();
  _FS_FILE_V2 file = named("c");
  EXPECT_EQ(protocol->CreateDirectory("/a/b", &file, nullptr), FOLDER_CREATION_FAILED);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MKD a/b/c", "1: QUIT"));
}

TEST_F(CreateDirectory, IsDeniedWhereTheLoginDirectoryCannotBeEntered) {
  connected();
  _FS_FILE_V2 file;
  ASSERT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  server.on("CWD").reply("550 Not any more.").times(1);
  (void)server.take_dialogue();
  _FS_FILE_V2 made = named("new");
  EXPECT_EQ(protocol->CreateDirectory("/docs", &made, nullptr), ACCESS_DENIED);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.take_dialogue(), Not(Contains(HasSubstr("MKD"))));
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] CreateDirectory id: [/docs] , exec error: [9]"));
  expect_dropped();
}

TEST_F(CreateDirectory, LeavesNoMakingOfDirectoriesBehind) {
  connected();
  _FS_FILE_V2 file = named("new");
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), SUCCESS);
  _FS_FILE_V2 missing;
  EXPECT_EQ(protocol->GetFileInfo("/nowhere/a.txt", &missing, nullptr), FAILED);
  EXPECT_EQ(server.count("MKD"), 1u);
}

TEST_F(CreateDirectory, AFailedReReadIsTheResultAndTheConnectionIsKept) {
  connected();
  server.on("MLSD").reply("550 Not to you.");
  _FS_FILE_V2 file = named("new");
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), FAILED);
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(file.id, "/docs/new");
  ASSERT_TRUE(server.wait_until_idle()) << "the listing, not the creation, costs the connection";
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: MKD docs/new", "1: EPSV", "1: TYPE A", "1: MLSD docs", "1: QUIT"));
}

TEST_F(CreateDirectory, ADirectoryThatIsNotListedAfterwardsIsASuccessAllTheSame) {
  connected();
  server.on("MKD").reply("257 Created, as far as you know.");
  _FS_FILE_V2 file = named("new");
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.modify_time, "") << "what tells the host";
}

TEST_F(CreateDirectory, NeverSendsALineBreak) {
  connected();
  for (const char* name : wire::kLineBreaks) {
    log.clear();
    _FS_FILE_V2 file = named(name);
    EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), FOLDER_CREATION_FAILED);
    EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
                ElementsAre("8 [PROTOCOL  ] CreateDirectory id: [/docs] , exec error: [3]"));
    log.clear();
    file = named("new");
    EXPECT_EQ(protocol->CreateDirectory(name, &file, nullptr), FOLDER_CREATION_FAILED);
    EXPECT_THAT(
        log.lines_with("8 [PROTOCOL"),
        ElementsAre(std::string{"8 [PROTOCOL  ] CreateDirectory id: ["} + name + "] , exec error: [3]"));
  }
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  expect_kept();
}

TEST_F(CreateDirectory, SendsTheNameInTheServersCharset) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  connected();
  _FS_FILE_V2 file = named(fakes::kUtf8Name);
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains(std::string{"1: MKD docs/"} + fakes::kLatin1Name));
  EXPECT_EQ(file.id, std::string{"/docs/"} + fakes::kLatin1Name);
  EXPECT_EQ(file.name, fakes::kUtf8Name) << "found under the server's bytes, told in UTF-8";
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
}

TEST_F(CreateDirectory, SendsUtf8WhereTheServerTakesIt) {
  const fakes::Latin1Locale locale;
  connected();
  _FS_FILE_V2 file = named(fakes::kUtf8Name);
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains(std::string{"1: MKD docs/"} + fakes::kUtf8Name));
  EXPECT_EQ(file.id, std::string{"/docs/"} + fakes::kUtf8Name);
}

TEST_F(CreateDirectory, ANameThatTheCharsetLacksGoesOutInUtf8) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  connected();
  _FS_FILE_V2 file = named("\xe6\x97\xa5 caf\xc3\xa9");
  EXPECT_EQ(protocol->CreateDirectory("/docs", &file, nullptr), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), Contains("1: MKD docs/\xe6\x97\xa5 caf\xc3\xa9"));
}

}  // namespace
