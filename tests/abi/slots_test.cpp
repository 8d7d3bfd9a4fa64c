// Both directions of the boundary by slot number only: every operation of the Protocol is called through the
// raw table that its first word points to, and the plug-in calls host objects whose tables are plain arrays
// of functions. The headers' class declarations are used for nothing but their records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/ftp_server.h"
#include "tests/fakes/plugin.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// The function behind slot `number` (the first is 1) of any object.
template <class Function>
Function* slot(void* object, std::size_t number) {
  void** table = *static_cast<void***>(object);
  return reinterpret_cast<Function*>(table[number - 1]);
}

/// A host object: a pointer to a table of functions, and where they write down what they are given.
struct HostObject {
  const void* const* table;
  std::vector<std::string>* calls;
};

void wrong_slot(HostObject* self) { self->calls->push_back("a slot that nobody calls"); }

int is_tracing(HostObject* self) {
  self->calls->push_back("IsTracing");
  return 1;
}

void write_line(HostObject* self, int level, const char* format, va_list arguments) {
  std::array<char, 2048> text{};
  std::vsnprintf(text.data(), text.size(), format, arguments);
  self->calls->push_back(std::to_string(level) + " " + text.data());
}

int query_value(HostObject* self, const char* key, char* buffer, int* size) {
  self->calls->push_back("QueryValue " + std::string{key} + " " + std::to_string(*size));
  std::strcpy(buffer, "the value");
  return 0;
}

int post_value(HostObject* self, const char* value, const char* what, const char* same_value) {
  self->calls->push_back("PostValue " + std::string{value} + "," + what + "," + same_value);
  return 0;
}

int add_file(HostObject* self, _FS_FILE_V2* file) {
  self->calls->push_back("AddFile " + file->id + " " + file->name + " " + std::to_string(file->attr));
  return 0;
}

int deliver(HostObject* self, long long offset, const char* data, long long length, long long reserved) {
  self->calls->push_back("Deliver " + std::to_string(offset) + " " +
                         std::string(data, static_cast<std::size_t>(length)) + " " +
                         std::to_string(reserved));
  return 0;
}

int read_block(HostObject* self, CACHE_READ_REQUEST* request) {
  const std::string content = "stored";
  const auto offset = static_cast<std::size_t>(request->offset);
  request->done = offset < content.size() ? content.size() - offset : 0;
  if (request->done > 0) std::memcpy(request->buffer, content.data() + offset, request->done);
  self->calls->push_back("ReadBlock " + std::to_string(request->offset) + " of " +
                         std::to_string(request->file_size));
  return 0;
}

template <class Function>
const void* entry(Function* function) {
  return reinterpret_cast<const void*>(function);
}

// Each table ends in slots that the boundary does not know: a host interface may be longer than listed.
const std::array<const void*, 4> kLogTable = {entry(wrong_slot), entry(is_tracing), entry(write_line),
                                              entry(wrong_slot)};
const std::array<const void*, 3> kManagerTable = {entry(query_value), entry(post_value), entry(wrong_slot)};
const std::array<const void*, 2> kFileListTable = {entry(add_file), entry(wrong_slot)};
const std::array<const void*, 2> kFetchTable = {entry(deliver), entry(wrong_slot)};
const std::array<const void*, 2> kCacheTable = {entry(read_block), entry(wrong_slot)};

class Slots : public testing::Test {
 protected:
  Slots() {
    server.add_file("/docs/a.txt", "hello");
    server.add_directory("/docs/sub");
    fakes::plugin().GetProtocol("ftp", reinterpret_cast<IProtocolManager*>(&manager), &protocol);
  }
  ~Slots() override {
    if (protocol != nullptr) release();
    fakes::plugin().UnbindLogger();
  }

  void release() {
    void* object = std::exchange(protocol, nullptr);
    slot<void(void*)>(object, 1)(object);
  }

  AERROR connect() {
    const std::string form = fakes::login_document(server.url());
    return slot<AERROR(void*, IProtocolAuth*, const char*)>(protocol, 23)(protocol, nullptr, form.c_str());
  }

  void bind_logger() { fakes::plugin().BindLogger(reinterpret_cast<ILog*>(&log)); }

  fakes::FtpServer server;
  std::vector<std::string> calls;
  std::vector<std::string> lines;
  HostObject log{kLogTable.data(), &lines};
  HostObject manager{kManagerTable.data(), &calls};
  HostObject list{kFileListTable.data(), &calls};
  HostObject fetch{kFetchTable.data(), &calls};
  HostObject cache{kCacheTable.data(), &calls};
  void* protocol = nullptr;
};

TEST_F(Slots, OneReleases) {
  ASSERT_EQ(connect(), SUCCESS);
  EXPECT_EQ(server.open_connections(), 1u);
  release();
  EXPECT_TRUE(server.wait_until_idle());
}

TEST_F(Slots, TwoTellsTheUser) {
  ASSERT_EQ(connect(), SUCCESS);
  std::array<char, 64> buffer{};
  int size = 64;
  EXPECT_EQ((slot<AERROR(void*, char*, int*)>(protocol, 2)(protocol, buffer.data(), &size)), SUCCESS);
  EXPECT_EQ(buffer.data(), server.url("/"));
}

TEST_F(Slots, ThreeTellsTheQuotaThatFourSets) {
  unsigned long long total = 1;
  unsigned long long free = 1;
  const auto get = slot<AERROR(void*, unsigned long long*, unsigned long long*)>(protocol, 3);
  EXPECT_EQ(get(protocol, &total, &free), SUCCESS);
  EXPECT_EQ(total, 10995116277760u);
  EXPECT_EQ(free, 0u);
  EXPECT_EQ((slot<AERROR(void*, unsigned long long, unsigned long long)>(protocol, 4)(protocol, 7, 3)),
            SUCCESS);
  EXPECT_EQ(get(protocol, &total, &free), SUCCESS);
  EXPECT_EQ(total, 7u);
  EXPECT_EQ(free, 3u);
}

TEST_F(Slots, FiveTellsTheType) {
  char* type = nullptr;
  EXPECT_EQ((slot<AERROR(void*, char**)>(protocol, 5)(protocol, &type)), SUCCESS);
  EXPECT_STREQ(type, "ftp;ftps;ad_ftp");
}

TEST_F(Slots, SixListsIntoSlotOneOfTheList) {
  ASSERT_EQ(connect(), SUCCESS);
  calls.clear();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ((slot<AERROR(void*, const char*, HostObject*, char**)>(protocol, 6)(protocol, "/docs", &list,
                                                                                &message)),
            SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(calls, ElementsAre("AddFile /docs/a.txt a.txt 1", "AddFile /docs/sub sub 2"));
}

TEST_F(Slots, SevenKnowsNoChanges) {
  char text = 'x';
  char* message = &text;
  EXPECT_EQ((slot<AERROR(void*, IFileChanges*, char**)>(protocol, 7)(protocol, nullptr, &message)), SUCCESS);
  EXPECT_EQ(message, &text);
  EXPECT_THAT(server.dialogue(), IsEmpty());
}

TEST_F(Slots, EightTellsAFile) {
  ASSERT_EQ(connect(), SUCCESS);
  _FS_FILE_V2 file;
  EXPECT_EQ((slot<AERROR(void*, const char*, _FS_FILE_V2*, char**)>(protocol, 8)(protocol, "docs/a.txt",
                                                                                 &file, nullptr)),
            SUCCESS);
  EXPECT_EQ(file.id, "/docs/a.txt");
  EXPECT_EQ(file.size, 5);
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
}

/// Slots 9, 10 and 11 have one shape.
using MoveSlot = AERROR(void*, const char*, const char*, _FS_FILE_V2*, char**);

TEST_F(Slots, NineRenames) {
  ASSERT_EQ(connect(), SUCCESS);
  bind_logger();
  _FS_FILE_V2 file;
  file.attr = FS_ATTR_FILE;
  file.name = "b.txt";
  EXPECT_EQ(slot<MoveSlot>(protocol, 9)(protocol, "/docs/a.txt", "/docs", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.file("/docs/b.txt"), "hello");
  EXPECT_THAT(lines, Contains(StartsWith("1 [PROTOCOL  ] Rename id [/docs/a.txt], target [/docs]")));
}

TEST_F(Slots, TenMoves) {
  ASSERT_EQ(connect(), SUCCESS);
  bind_logger();
  _FS_FILE_V2 file;
  file.attr = FS_ATTR_FILE;
  file.name = "b.txt";
  EXPECT_EQ(slot<MoveSlot>(protocol, 10)(protocol, "/docs/a.txt", "/docs/sub", &file, nullptr), SUCCESS);
  EXPECT_EQ(server.file("/docs/sub/b.txt"), "hello");
  EXPECT_THAT(lines, testing::Not(Contains(AllOf(HasSubstr("[PROTOCOL  ]"), HasSubstr("Rename")))));
}

TEST_F(Slots, ElevenMovesADirectory) {
  ASSERT_EQ(connect(), SUCCESS);
  bind_logger();
  _FS_FILE_V2 file;
  file.name = "moved";
  EXPECT_EQ(slot<MoveSlot>(protocol, 11)(protocol, "/docs/sub", "/", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.attr, FS_ATTR_DIRECTORY);
  EXPECT_THAT(lines, Contains(StartsWith("1 [PROTOCOL  ] MoveDir id [/docs/sub]")));
}

TEST_F(Slots, TwelveCreatesADirectory) {
  ASSERT_EQ(connect(), SUCCESS);
  _FS_FILE_V2 file;
  file.name = "new";
  EXPECT_EQ((slot<AERROR(void*, const char*, _FS_FILE_V2*, char**)>(protocol, 12)(protocol, "/docs", &file,
                                                                                  nullptr)),
            SUCCESS);
  EXPECT_THAT(server.dialogue(), Contains(HasSubstr("MKD docs/new")));
}

TEST_F(Slots, ThirteenDeletesAFile) {
  ASSERT_EQ(connect(), SUCCESS);
  EXPECT_EQ((slot<AERROR(void*, const char*, char**)>(protocol, 13)(protocol, "/docs/a.txt", nullptr)),
            SUCCESS);
  EXPECT_EQ(server.file("/docs/a.txt"), std::nullopt);
}

TEST_F(Slots, FourteenDeletesADirectory) {
  ASSERT_EQ(connect(), SUCCESS);
  EXPECT_EQ((slot<AERROR(void*, const char*, char**)>(protocol, 14)(protocol, "/docs/sub", nullptr)),
            SUCCESS);
  EXPECT_THAT(server.dialogue(), Contains(HasSubstr("RMD docs/sub")));
}

TEST_F(Slots, FifteenReadsIntoSlotOneOfTheCallback) {
  ASSERT_EQ(connect(), SUCCESS);
  calls.clear();
  const auto handle = std::make_shared<_FS_HANDLE>();
  EXPECT_EQ((slot<AERROR(void*, const char*, long long, long long, std::shared_ptr<_FS_HANDLE>, HostObject*,
                         char**)>(protocol, 15)(protocol, "/docs/a.txt", 1, 3, handle, &fetch, nullptr)),
            SUCCESS);
  EXPECT_THAT(calls, ElementsAre("Deliver 1 ell 0"));
  EXPECT_EQ(handle.use_count(), 1);
}

TEST_F(Slots, SixteenUploadsFromSlotOneOfTheCache) {
  ASSERT_EQ(connect(), SUCCESS);
  calls.clear();
  const auto handle = std::make_shared<_FS_HANDLE>();
  _FS_FILE_V2 file;
  file.name = "new.txt";
  file.size = 6;
  EXPECT_EQ((slot<AERROR(void*, const char*, std::shared_ptr<_FS_HANDLE>, HostObject*, _FS_FILE_V2*,
                         UPLOAD_FLAG, char**)>(protocol, 16)(protocol, "/docs", handle, &cache, &file,
                                                             UPLOAD_FLAG_NONE, nullptr)),
            SUCCESS);
  EXPECT_EQ(server.file("/docs/new.txt"), "stored");
  EXPECT_THAT(calls, Contains("ReadBlock 0 of 6"));
  EXPECT_EQ(handle->position, 6);
  EXPECT_EQ(handle.use_count(), 1);
}

TEST_F(Slots, SeventeenSetsTheTime) {
  ASSERT_EQ(connect(), SUCCESS);
  _FS_FILE_V2 file;
  const std::string time = "2020-03-04T05:06:07.000Z";
  EXPECT_EQ((slot<AERROR(void*, const char*, std::string, std::string, std::string, _FS_FILE_V2*, char**)>(
                protocol, 17)(protocol, "/docs/a.txt", time, time, time, &file, nullptr)),
            SUCCESS);
  EXPECT_THAT(server.dialogue(), Contains(HasSubstr("MFMT 20200304050607 docs/a.txt")));
}

TEST_F(Slots, EighteenSetsAnOptionThatTwentyTells) {
  ASSERT_EQ(connect(), SUCCESS);
  const auto feature = slot<int(void*)>(protocol, 20);
  EXPECT_EQ(feature(protocol), 0x920);
  const std::string form = fakes::option_document({{"use_server_time", "false"}});
  EXPECT_EQ(
      (slot<AERROR(void*, const char*, const char*)>(protocol, 18)(protocol, "option_fields", form.c_str())),
      SUCCESS);
  EXPECT_EQ(feature(protocol), 0x20);
}

TEST_F(Slots, NineteenPostsTheValueOfTheManagersSlotOneToItsSlotTwo) {
  EXPECT_EQ((slot<AERROR(void*, char*, int*)>(protocol, 19)(protocol, nullptr, nullptr)), SUCCESS);
  EXPECT_THAT(calls, ElementsAre("QueryValue ftp.dll_1.0.6.0 256", "PostValue the value,pid,the value"));
}

TEST_F(Slots, TwentyOneTakesAQuotaCallback) {
  const QUOTA_CALLBACK answer = [](void* context, void* asked, long long* total, long long* used) {
    *total = 1000;
    *used = 300;
    *static_cast<void**>(context) = asked;
    return true;
  };
  void* asked = nullptr;
  slot<void(void*, void*, QUOTA_CALLBACK)>(protocol, 21)(protocol, &asked, answer);
  unsigned long long free = 0;
  const auto get = slot<AERROR(void*, unsigned long long*, unsigned long long*)>(protocol, 3);
  EXPECT_EQ(get(protocol, nullptr, &free), SUCCESS);
  EXPECT_EQ(free, 700u);
  EXPECT_EQ(asked, protocol);
}

TEST_F(Slots, TwentyTwoFreesAMessage) {
  // The leak checker and the address sanitizer tell whether it did.
  const auto free_message = slot<void(void*, char*)>(protocol, 22);
  free_message(protocol, strdup("text"));
  free_message(protocol, nullptr);
}

TEST_F(Slots, TwentyThreeConnects) {
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(server.logins(), 1u);
}

TEST_F(Slots, TwentyFourLeavesTheBufferAlone) {
  std::array<char, 2> buffer = {'x', 'y'};
  int size = 2;
  EXPECT_EQ((slot<AERROR(void*, char*, int*)>(protocol, 24)(protocol, buffer.data(), &size)), SUCCESS);
  EXPECT_THAT(buffer, ElementsAre('x', 'y'));
  EXPECT_EQ(size, 2);
}

TEST_F(Slots, TwentyFiveTellsTheEmptyRoot) {
  std::array<char, 2> buffer = {'x', 'y'};
  int size = 2;
  const auto root = slot<AERROR(void*, char*, int*)>(protocol, 25);
  EXPECT_EQ(root(protocol, buffer.data(), &size), SUCCESS);
  EXPECT_THAT(buffer, ElementsAre('\0', 'y'));
  EXPECT_EQ(size, 0);
  EXPECT_EQ(root(protocol, buffer.data(), nullptr), ACCESS_DENIED);
}

TEST_F(Slots, TwentySixIgnoresAnAuthentication) {
  const std::shared_ptr<int> owner = std::make_shared<int>();
  const std::shared_ptr<IAuth> auth{owner, nullptr};
  EXPECT_EQ((slot<AERROR(void*, std::shared_ptr<IAuth>)>(protocol, 26)(protocol, auth)), SUCCESS);
  EXPECT_EQ(owner.use_count(), 2);
}

TEST_F(Slots, ThreeOfTheLoggerWritesLinesAndOneIsNeverCalled) {
  bind_logger();
  ASSERT_EQ(connect(), SUCCESS);
  EXPECT_THAT(lines, Contains("1 [NETWORK   ] [HEADER   <<] USER anonymous\r\n"));
  EXPECT_THAT(lines, testing::Not(Contains("a slot that nobody calls")));
}

}  // namespace
