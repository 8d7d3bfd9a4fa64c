// A host may hand an operation texts of the very record that the operation writes. What it asks for is what
// the texts said when it asked. (The sanitizer build tells when a text is read after it was given up.)
#include <functional>

#include "tests/wire/changes_fixture.h"

namespace {

using testing::ElementsAreArray;

// Longer than what a text keeps without memory of its own, and shorter.
constexpr const char* kLongFile = "/docs/a file whose name takes memory.txt";
constexpr const char* kLongFolder = "/docs/a folder whose name takes memory";

using Dialogue = std::vector<std::string>;

struct OwnRecordCase {
  const char* label;
  std::function<AERROR(IProtocol_V2& protocol, _FS_FILE_V2& record)> run;
  const char* id;                     ///< what the record's identifier is before
  const char* time;                   ///< what each of its times is before
  const char* name;                   ///< what its name is before
  std::uint32_t attr = FS_ATTR_FILE;  ///< what its kind is before
  const char* id_afterwards;
  Dialogue dialogue;  ///< the commands that show what was asked for
};

class OwnRecord : public wire::Changes, public testing::WithParamInterface<OwnRecordCase> {
 protected:
  OwnRecord() {
    server.add_file(kLongFile, "hello");
    server.add_directory(kLongFolder);
  }

  /// The dialogue without the commands that are the same for every file.
  Dialogue asked() {
    Dialogue commands;
    for (const std::string& command : server.take_dialogue()) {
      for (const char* verb :
           {"1: RNFR ", "1: RNTO ", "1: MDTM ", "1: STOR ", "1: MKD ", "1: MFMT ", "1: MLSD "}) {
        if (command.starts_with(verb)) commands.push_back(command);
      }
    }
    return commands;
  }
};

TEST_P(OwnRecord, MayHoldTheTextsOfTheQuestion) {
  const OwnRecordCase& want = GetParam();
  connected();
  _FS_FILE_V2 record;
  record.id = want.id;
  record.create_time = record.access_time = record.modify_time = want.time;
  record.name = want.name;
  record.attr = want.attr;
  record.size = 5;
  EXPECT_EQ(want.run(*protocol.get(), record), SUCCESS);
  EXPECT_EQ(record.id, want.id_afterwards);
  EXPECT_THAT(asked(), ElementsAreArray(want.dialogue));
  expect_kept();
}

AERROR upload_into(IProtocol_V2& protocol, const std::string& folder, _FS_FILE_V2& record) {
  fakes::CacheSource cache{"hello"};
  return protocol.Upload(folder.c_str(), fakes::make_handle(), &cache, &record, UPLOAD_FLAG_NONE, nullptr);
}

void PrintTo(const OwnRecordCase& row, std::ostream* out) { *out << row.label; }

const OwnRecordCase kOwnRecordCases[] = {
    {"InformationByTheId",
     [](auto& protocol, auto& record) { return protocol.GetFileInfo(record.id.c_str(), &record, nullptr); },
     kLongFile,
     "",
     "x",
     FS_ATTR_FILE,
     kLongFile,
     {"1: MDTM a file whose name takes memory.txt"}},
    {"InformationByAnIdWithoutASlash",
     [](auto& protocol, auto& record) { return protocol.GetFileInfo(record.id.c_str(), &record, nullptr); },
     kLongFile + 1,
     "",
     "x",
     FS_ATTR_FILE,
     kLongFile,
     {"1: MDTM a file whose name takes memory.txt"}},
    {"InformationByAShortId",
     [](auto& protocol, auto& record) { return protocol.GetFileInfo(record.id.c_str(), &record, nullptr); },
     "docs/a.txt",
     "",
     "x",
     FS_ATTR_FILE,
     "/docs/a.txt",
     {"1: MDTM a.txt"}},
    {"InformationByAPartOfTheId",
     [](auto& protocol, auto& record) {
       return protocol.GetFileInfo(record.id.c_str() + 5, &record, nullptr);
     },
     "/docs/docs/a.txt and more than fits",
     "",
     "x",
     FS_ATTR_DIRECTORY,
     "/docs/a.txt and more than fits",
     {"1: MLSD docs"}},
    {"InformationByATime",
     [](auto& protocol, auto& record) {
       return protocol.GetFileInfo(record.modify_time.c_str(), &record, nullptr);
     },
     "",
     kLongFile,
     "x",
     FS_ATTR_FILE,
     kLongFile,
     {"1: MDTM a file whose name takes memory.txt"}},
    {"InformationOfADirectoryByTheId",
     [](auto& protocol, auto& record) { return protocol.GetFileInfo(record.id.c_str(), &record, nullptr); },
     kLongFolder,
     "",
     "x",
     FS_ATTR_DIRECTORY,
     kLongFolder,
     {"1: MLSD docs"}},
    {"InformationOfADirectoryByTheName",
     [](auto& protocol, auto& record) { return protocol.GetFileInfo(record.name.c_str(), &record, nullptr); },
     "",
     "",
     kLongFolder,
     FS_ATTR_DIRECTORY,
     kLongFolder,
     {"1: MLSD docs"}},
    {"Move",
     [](auto& protocol, auto& record) {
       return protocol.Move(record.id.c_str(), record.create_time.c_str(), &record, nullptr);
     },
     kLongFile,
     kLongFolder,
     "b.txt",
     FS_ATTR_FILE,
     "/docs/a folder whose name takes memory/b.txt",
     {"1: RNFR docs/a file whose name takes memory.txt",
      "1: RNTO docs/a folder whose name takes memory/b.txt", "1: MDTM b.txt"}},
    {"MoveToAFolderOfTheOwnName",
     [](auto& protocol, auto& record) {
       return protocol.Move(record.id.c_str(), record.name.c_str(), &record, nullptr);
     },
     kLongFile,
     "",
     "docs",
     FS_ATTR_FILE,
     "/docs/docs",
     {"1: RNFR docs/a file whose name takes memory.txt", "1: RNTO docs/docs", "1: MDTM docs"}},
    {"Rename",
     [](auto& protocol, auto& record) {
       return protocol.Rename(record.id.c_str(), record.access_time.c_str(), &record, nullptr);
     },
     kLongFile,
     kLongFolder,
     "b.txt",
     FS_ATTR_FILE,
     "/docs/a folder whose name takes memory/b.txt",
     {"1: RNFR docs/a file whose name takes memory.txt",
      "1: RNTO docs/a folder whose name takes memory/b.txt", "1: MDTM b.txt"}},
    {"MoveDir",
     [](auto& protocol, auto& record) {
       return protocol.MoveDir(record.id.c_str(), record.create_time.c_str(), &record, nullptr);
     },
     kLongFolder,
     "/docs/sub",
     "moved",
     FS_ATTR_FILE,
     "/docs/sub/moved",
     {"1: RNFR docs/a folder whose name takes memory", "1: RNTO docs/sub/moved", "1: MLSD docs/sub"}},
    {"CreateDirectory",
     [](auto& protocol, auto& record) {
       return protocol.CreateDirectory(record.id.c_str(), &record, nullptr);
     },
     kLongFolder,
     "",
     "new",
     FS_ATTR_FILE,
     "/docs/a folder whose name takes memory/new",
     {"1: MKD docs/a folder whose name takes memory/new", "1: MLSD docs/a folder whose name takes memory"}},
    {"CreateDirectoryInAFolderOfTheOwnName",
     [](auto& protocol, auto& record) {
       return protocol.CreateDirectory(record.name.c_str(), &record, nullptr);
     },
     "",
     "",
     "docs",
     FS_ATTR_FILE,
     "/docs/docs",
     {"1: MKD docs/docs", "1: MLSD docs"}},
    {"Upload",
     [](auto& protocol, auto& record) { return upload_into(protocol, record.id, record); },
     kLongFolder,
     "",
     "b.txt",
     FS_ATTR_DIRECTORY,
     "/docs/a folder whose name takes memory/b.txt",
     {"1: STOR b.txt", "1: MDTM b.txt"}},
    {"UploadIntoAFolderOfTheOwnName",
     [](auto& protocol, auto& record) { return upload_into(protocol, record.name, record); },
     "",
     "",
     "docs",
     FS_ATTR_FILE,
     "/docs/docs",
     {"1: STOR docs", "1: MDTM docs"}},
    {"SetFileTimeByTheId",
     [](auto& protocol, auto& record) {
       return protocol.SetFileTime(record.id.c_str(), record.create_time, record.access_time,
                                   record.modify_time, &record, nullptr);
     },
     kLongFile,
     "2024-03-05T07:08:09.000Z",
     "x",
     FS_ATTR_FILE,
     kLongFile,
     {"1: MFMT 20240305070809 docs/a file whose name takes memory.txt"}},
    {"SetFileTimeByATime",
     [](auto& protocol, auto& record) {
       return protocol.SetFileTime(record.modify_time.c_str(), "", "second", "2024-03-05T07:08:09.000Z",
                                   &record, nullptr);
     },
     "kept",
     kLongFile,
     "x",
     FS_ATTR_FILE,
     "kept",
     {"1: MFMT 20240305070809 docs/a file whose name takes memory.txt"}},
};

INSTANTIATE_TEST_SUITE_P(, OwnRecord, testing::ValuesIn(kOwnRecordCases),
                         [](const auto& row) { return row.param.label; });

TEST_F(OwnRecord, MayHoldTheTextsOfAQuestionThatFails) {
  connected();
  _FS_FILE_V2 record;
  record.id = "/docs/none of these files takes so long a name";
  record.name = "a name that takes memory of its own";
  EXPECT_EQ(protocol->GetFileInfo(record.id.c_str(), &record, nullptr), FAILED);
  EXPECT_EQ(protocol->Move(record.id.c_str(), record.id.c_str(), &record, nullptr), FILE_WRITE_FAILED);
  EXPECT_EQ(protocol->CreateDirectory(record.id.c_str(), &record, nullptr), FOLDER_CREATION_FAILED);
  EXPECT_THAT(
      log.operations(),
      testing::IsSupersetOf(
          {"8 [PROTOCOL  ] ftp_get_info id: [/docs/none of these files takes so long a name] , exec error: "
           "[78]",
           "8 [PROTOCOL  ] Move src: [/docs/none of these files takes so long a name] , target: [a name that "
           "takes memory of its own] exec error: [21]",
           "8 [PROTOCOL  ] CreateDirectory id: [/docs/none of these files takes so long a name] , exec "
           "error: "
           "[21]"}));
}

}  // namespace
