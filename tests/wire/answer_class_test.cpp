// A command is done when the server says so with the code of its own kind: 2yz, and 3yz between the two
// halves of a renaming. libcurl is content with everything below 400.
#include <string>

#include "tests/wire/changes_fixture.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

struct AnswerCase {
  const char* label;
  const char* command;
  const char* reply;
};

class AnswerOfAnotherClass : public wire::Changes, public testing::WithParamInterface<AnswerCase> {
 protected:
  AERROR run(const std::string& command) {
    _FS_FILE_V2 file = named("b.txt");
    if (command == "DELE") return protocol->Delete("/docs/a.txt", nullptr);
    if (command == "RMD") return protocol->DeleteDirectory("/docs/sub", nullptr);
    if (command == "MKD") return protocol->CreateDirectory("/docs", &file, nullptr);
    if (command == "MFMT")
      return protocol->SetFileTime("/docs/a.txt", "", "", "2024-03-05T07:08:09Z", &file, nullptr);
    return protocol->Move("/docs/a.txt", "/docs", &file, nullptr);
  }
};

TEST_P(AnswerOfAnotherClass, IsNoSuccess) {
  const std::string command = GetParam().command;
  connected();
  server.on(command).reply(GetParam().reply).times(1);
  const AERROR result = run(command);
  EXPECT_EQ(result, command == "MKD"                         ? FOLDER_CREATION_FAILED
                    : command == "RNFR" || command == "RNTO" ? FILE_WRITE_FAILED
                                                             : FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), Contains(HasSubstr("exec error: [8]")));
  if (command == "RNFR") {
    EXPECT_THAT(server.take_dialogue(), Not(Contains(HasSubstr("RNTO"))));
  }
  expect_dropped();
}

constexpr AnswerCase kAnswers[] = {
    {"DeleteIsNoPreliminary", "DELE", "150 Deleting."},
    {"DeleteWantsNothingMore", "DELE", "350 Are you sure?"},
    {"DeleteIsNoCodeOfNothing", "DELE", "050 Deleting."},
    {"RemoveIsNoPreliminary", "RMD", "150 Removing."},
    {"RemoveWantsNothingMore", "RMD", "331 Are you sure?"},
    {"RemoveIsNoCodeOfNothing", "RMD", "000 Removing."},
    {"MakeIsNoPreliminary", "MKD", "150 Making."},
    {"MakeWantsNothingMore", "MKD", "350 Are you sure?"},
    {"MakeIsNoCodeOfNothing", "MKD", "099 Making."},
    {"TimeIsNoPreliminary", "MFMT", "150 Setting."},
    {"TimeWantsNothingMore", "MFMT", "350 Are you sure?"},
    {"TimeIsNoCodeOfNothing", "MFMT", "013 Setting."},
    {"SourceIsNoPreliminary", "RNFR", "150 Looking."},
    {"SourceIsNotDone", "RNFR", "250 Renamed to nothing."},
    {"SourceIsNoCodeOfNothing", "RNFR", "050 Looking."},
    {"SourceOfTwoLines", "RNFR", "250-Renamed\r\n250 to nothing."},
    {"TargetIsNoPreliminary", "RNTO", "150 Renaming."},
    {"TargetWantsNothingMore", "RNTO", "350 Are you sure?"},
    {"TargetIsNoCodeOfNothing", "RNTO", "050 Renaming."},
};

INSTANTIATE_TEST_SUITE_P(, AnswerOfAnotherClass, testing::ValuesIn(kAnswers),
                         [](const auto& row) { return std::string{row.param.label}; });

}  // namespace
