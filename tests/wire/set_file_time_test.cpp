// Setting times: one command, only where the server offers it, and the connection is kept in any case.
#include <string>

#include "tests/fakes/latin1_locale.h"
#include "tests/wire/changes_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kCreated = "2001-01-01T00:00:00.000Z";
constexpr const char* kAccessed = "2002-02-02T00:00:00.000Z";

class SetFileTime : public wire::Changes {
 protected:
  AERROR set(const char* path, const std::string& time) {
    return protocol->SetFileTime(path, kCreated, kAccessed, time, &file, nullptr);
  }
  _FS_FILE_V2 file = named("a.txt");
};

TEST_F(SetFileTime, SendsTheModificationTimeAndStoresTwoOfTheThree) {
  connected();
  char text = 'x';
  char* message = &text;
  file.id = "id";
  file.size = 77;
  file.create_time = "kept";
  EXPECT_EQ(
      protocol->SetFileTime("/docs/a.txt", kCreated, kAccessed, "2024-03-05T07:08:09Z", &file, &message),
      SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/a.txt"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] SetFileTime id: [/docs/a.txt]"));
  EXPECT_EQ(file.create_time, "kept");
  EXPECT_EQ(file.access_time, kAccessed);
  EXPECT_EQ(file.modify_time, "2024-03-05T07:08:09Z");
  EXPECT_EQ(file.id, "id");
  EXPECT_EQ(file.name, "a.txt");
  EXPECT_EQ(file.size, 77);
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  expect_kept();
}

TEST_F(SetFileTime, DropsFractionAndOffsetAndSendsTheClockTime) {
  connected();
  EXPECT_EQ(set("/docs/a.txt", "2024-03-05T07:08:09.123+02:00"), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/a.txt"));
  EXPECT_EQ(file.modify_time, "2024-03-05T07:08:09.123+02:00") << "the record gets the text as it was";
}

TEST_F(SetFileTime, SendsZerosForWhatIsMissing) {
  connected();
  EXPECT_EQ(set("/docs/a.txt", "2024-03"), SUCCESS);
  EXPECT_EQ(set("/docs/a.txt", ""), SUCCESS);
  EXPECT_EQ(set("/docs/a.txt", "soon"), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: MFMT 20240300000000 docs/a.txt", "1: MFMT 00000000000000 docs/a.txt",
                          "1: MFMT 00000000000000 docs/a.txt"));
}

TEST_F(SetFileTime, SendsAPathThatHoldsBlanksAsItIs) {
  connected();
  EXPECT_EQ(set("/docs/my file.txt", "2024-03-05T07:08:09Z"), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/my file.txt"));
}

TEST_F(SetFileTime, StaysBelowTheRootPath) {
  connected("/docs");
  EXPECT_EQ(set("a.txt", "2024-03-05T07:08:09Z"), SUCCESS);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/a.txt"));
}

TEST_F(SetFileTime, WhatItSetIsReadBack) {
  connected();
  EXPECT_EQ(set("/docs/a.txt", "2019-08-07T06:05:04.000Z"), SUCCESS);
  _FS_FILE_V2 again;
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &again, nullptr), SUCCESS);
  EXPECT_EQ(again.modify_time, "2019-08-07T06:05:04.000Z");
}

TEST_F(SetFileTime, ARefusalFailsAndKeepsTheConnection) {
  connected();
  EXPECT_EQ(set("/docs/none", "2024-03-05T07:08:09Z"), FAILED);
  EXPECT_EQ(file.access_time, "");
  EXPECT_EQ(file.modify_time, "");
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/none"));
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] SetFileTime id: [/docs/none]",
                          "8 [PROTOCOL  ] SetFileTime src: [/docs/none]  exec error: [21]"));
  expect_kept();
}

TEST_F(SetFileTime, WithoutAPathNamesTheRoot) {
  connected();
  server.on("MFMT").reply("550 Not a file.");
  EXPECT_EQ(set(nullptr, "2024-03-05T07:08:09Z"), FAILED);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 /"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] SetFileTime id: []",
                                            "8 [PROTOCOL  ] SetFileTime src: []  exec error: [21]"));
}

TEST_F(SetFileTime, AConnectionThatBrokeIsReplaced) {
  server.on("MFMT").hang_up().times(1);
  connected();
  EXPECT_EQ(set("/docs/a.txt", "2024-03-05T07:08:09Z"), FAILED);
  EXPECT_EQ(set("/docs/a.txt", "2024-03-05T07:08:09Z"), SUCCESS);
  EXPECT_EQ(server.logins(), 2u);
  EXPECT_EQ(file.modify_time, "2024-03-05T07:08:09Z");
}

TEST_F(SetFileTime, IsNotSupportedWhereTheServerDoesNotOfferIt) {
  server.lacks("MFMT");
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(
      protocol->SetFileTime("/docs/a.txt", kCreated, kAccessed, "2024-03-05T07:08:09Z", &file, &message),
      NOT_SUPPORTED);
  EXPECT_EQ(message, &text) << "untouched";
  EXPECT_EQ(file.modify_time, "");
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] SetFileTime id: [/docs/a.txt]"));
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
}

TEST_F(SetFileTime, IsNotSupportedOverSftpEvenWhereTimesCouldBeSet) {
  connected();
  EXPECT_EQ(set("/docs/a.txt", "2024-03-05T07:08:09Z"), SUCCESS);
  // The login fails, but from here on the object knows itself to speak SFTP; what the last login learnt about
  // times stays.
  EXPECT_NE(protocol->Connect(nullptr, fakes::login_document("sftp://127.0.0.1:1/").c_str()), SUCCESS);
  file.modify_time = "kept";
  EXPECT_EQ(set("/docs/a.txt", "2025-03-05T07:08:09Z"), NOT_SUPPORTED);
  EXPECT_EQ(file.modify_time, "kept");
  EXPECT_EQ(server.count("MFMT"), 1u);
}

TEST_F(SetFileTime, FailsWithoutAnErrorLineWhenNobodyAnswers) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  server.stop();
  log.clear();
  EXPECT_EQ(set("/docs/a.txt", "2024-03-05T07:08:09Z"), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] SetFileTime id: [/docs/a.txt]"));
}

TEST_F(SetFileTime, NeverSendsALineBreak) {
  connected();
  for (const char* name : wire::kLineBreaks) {
    log.clear();
    EXPECT_EQ(set(name, "2024-03-05T07:08:09Z"), FAILED);
    EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
                ElementsAre(std::string{"8 [PROTOCOL  ] SetFileTime src: ["} + name + "]  exec error: [3]"));
  }
  EXPECT_EQ(set("/docs/a.txt", "2024-03-05T07:08:09Z\r\nDELE docs/a.txt"), SUCCESS)
      << "of the time only the numbers travel";
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/a.txt"));
  expect_kept();
}

TEST_F(SetFileTime, SendsNamesInUtf8WhateverTheServerTakes) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  server.add_file(std::string{"/docs/"} + fakes::kUtf8Name, "x");
  connected();
  file.name = fakes::kUtf8Name;
  EXPECT_EQ(set((std::string{"/docs/"} + fakes::kUtf8Name).c_str(), "2024-03-05T07:08:09Z"), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre(std::string{"1: MFMT 20240305070809 docs/"} + fakes::kUtf8Name));
}

}  // namespace
