// Uploads: the commands, the blocks that the cache is asked for, and that nothing is reported as stored that
// is not.
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "tests/wire/changes_fixture.h"
#include "tests/wire/latin1_locale.h"

namespace {

using fakes::CacheSource;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr std::size_t kBlock = 65536;

class Upload : public wire::Changes {
 protected:
  static _FS_FILE_V2 sized(std::string name, std::size_t size) {
    _FS_FILE_V2 file = named(std::move(name), 0);
    file.size = static_cast<std::int64_t>(size);
    return file;
  }
  AERROR upload(const char* path, ICacheIO& cache) {
    return protocol->Upload(path, handle, &cache, &file, UPLOAD_FLAG{}, nullptr);
  }
  /// Uploads `bytes` as "new.bin" to /docs.
  AERROR upload(const std::string& bytes) {
    CacheSource cache{bytes};
    file = sized("new.bin", bytes.size());
    return upload("/docs", cache);
  }
  /// The upload failed with this result of libcurl; nothing was read back.
  void expect_failure(int code) {
    EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Upload id [/docs], name [new.bin]",
                                              "8 [PROTOCOL  ] Upload id: [new.bin] , exec error: [" +
                                                  std::to_string(code) + "]"));
    EXPECT_EQ(file.id, "");
    EXPECT_EQ(file.modify_time, "");
    EXPECT_EQ(file.attr, 0u);
  }

  const std::shared_ptr<_FS_HANDLE> handle = fakes::make_handle();
  _FS_FILE_V2 file;
};

TEST_F(Upload, AsksForBinaryStoresAndReadsSizeAndTimeAgain) {
  connected();
  CacheSource cache{"hello there"};
  file = sized("b c.txt", 11);
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->Upload("/docs/sub", handle, &cache, &file, UPLOAD_FLAG{}, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: TYPE I", "1: CWD /", "1: CWD docs", "1: CWD sub", "1: EPSV", "1: TYPE I",
                          "1: STOR b c.txt", "1: MDTM b c.txt", "1: SIZE b c.txt", "1: REST 0"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Upload id [/docs/sub], name [b c.txt]",
                                            "1 [PROTOCOL  ] GetFileInfo id: [/docs/sub/b c.txt]",
                                            "1 [PROTOCOL  ] GetFileInfo dir: [0]"));
  EXPECT_EQ(server.file("/docs/sub/b c.txt"), "hello there");
  EXPECT_EQ(file.id, "/docs/sub/b c.txt");
  EXPECT_EQ(file.name, "b c.txt");
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.create_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.access_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(handle->position, 11);
  EXPECT_EQ(handle.use_count(), 1) << "the handle is the host's again";
  expect_kept();
}

TEST_F(Upload, ReplacesAFile) {
  connected();
  CacheSource cache{"x"};
  file = sized("a.txt", 1);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/a.txt"), "x");
  EXPECT_EQ(file.size, 1);
}

TEST_F(Upload, IgnoresItsFlags) {
  connected();
  for (const int flag : {0, 1, 2, -1}) {
    CacheSource cache{"same"};
    file = sized("same.txt", 4);
    EXPECT_EQ(protocol->Upload("/docs", handle, &cache, &file, static_cast<UPLOAD_FLAG>(flag), nullptr),
              SUCCESS);
    EXPECT_EQ(server.file("/docs/same.txt"), "same");
  }
  EXPECT_EQ(server.count("APPE"), 0u);
}

TEST_F(Upload, WithoutAPathStoresAtTheTop) {
  connected();
  CacheSource cache{"top"};
  file = sized("top.txt", 3);
  EXPECT_EQ(upload(nullptr, cache), SUCCESS);
  EXPECT_EQ(file.id, "/top.txt");
  EXPECT_EQ(server.file("/top.txt"), "top");
  EXPECT_THAT(log.operations(), Contains("1 [PROTOCOL  ] Upload id [], name [top.txt]"));
  EXPECT_THAT(server.take_dialogue(), Contains("1: STOR top.txt"));
}

TEST_F(Upload, StaysBelowTheRootPath) {
  connected("/docs");
  CacheSource cache{"x"};
  file = sized("new.bin", 1);
  EXPECT_EQ(upload("sub", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/sub/new.bin"), "x");
  EXPECT_EQ(file.id, "/sub/new.bin");
}

TEST_F(Upload, WorksInActiveMode) {
  connected("", {{"active", "true"}});
  EXPECT_EQ(upload(wire::pattern(kBlock + 1)), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), wire::pattern(kBlock + 1));
  EXPECT_EQ(server.count("EPSV"), 0u);
  EXPECT_EQ(server.count("EPRT"), 1u);
}

TEST_F(Upload, NamesArriveAsTheyAre) {
  const std::string name = "100% a#b?c;type=i [x] \xc3\xa9~\"q\" \\.txt";
  connected();
  CacheSource cache{"12345"};
  file = sized(name, 5);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/" + name), "12345");
  EXPECT_EQ(file.size, 5);
}

// ---- sizes and blocks ----

TEST_F(Upload, StoresAnEmptyFile) {
  connected();
  CacheSource cache{""};
  file = sized("new.bin", 0);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  ASSERT_THAT(cache.requests(), SizeIs(1));
  EXPECT_EQ(cache.requests()[0].offset, 0);
  EXPECT_EQ(cache.requests()[0].done, 0u);
  EXPECT_EQ(cache.requests()[0].file_size, 0u);
  EXPECT_EQ(server.file("/docs/new.bin"), "");
  EXPECT_EQ(file.size, 0);
  expect_kept();
}

class UploadOfSize : public Upload, public testing::WithParamInterface<std::size_t> {};

TEST_P(UploadOfSize, StoresEveryByteInBlocksThatFollowEachOther) {
  const std::string bytes = wire::pattern(GetParam());
  connected();
  CacheSource cache{bytes};
  file = sized("new.bin", bytes.size());
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_TRUE(server.file("/docs/new.bin") == bytes);
  EXPECT_EQ(file.size, static_cast<std::int64_t>(bytes.size()));
  EXPECT_EQ(handle->position, file.size);
  std::uint64_t offset = 0;
  for (const CacheSource::Request& request : cache.requests()) {
    EXPECT_EQ(static_cast<std::uint64_t>(request.offset), offset);
    EXPECT_EQ(request.length, kBlock);
    EXPECT_EQ(request.file_size, bytes.size());
    offset += request.done;
  }
  EXPECT_EQ(offset, bytes.size());
}

INSTANTIATE_TEST_SUITE_P(, UploadOfSize,
                         testing::Values(std::size_t{1}, kBlock - 1, kBlock, kBlock + 1, 10 * kBlock + 7));

TEST_F(Upload, ACacheThatDeliversShortBlocksIsAskedAgain) {
  const std::string bytes = wire::pattern(5000);
  connected();
  CacheSource cache{bytes, {.block_limit = 7, .result = -1}};
  file = sized("new.bin", bytes.size());
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), bytes);
  EXPECT_THAT(cache.requests(), SizeIs((5000 + 6) / 7));
}

TEST_F(Upload, ACacheThatStopsEarlyFailsAlthoughTheServerIsContent) {
  const std::string bytes = wire::pattern(200000);
  connected();
  CacheSource cache{bytes, {.end_at = 100000}};
  file = sized("new.bin", bytes.size());
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  expect_failure(18);
  EXPECT_EQ(file.size, 200000) << "the record is as it was";
  EXPECT_EQ(server.file("/docs/new.bin")->size(), 100000u) << "what the server was given stays there";
  expect_dropped();
}

TEST_F(Upload, ACacheThatHasNothingFails) {
  connected();
  CacheSource cache{"", {}};
  file = sized("new.bin", 1);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  expect_failure(18);
}

TEST_F(Upload, ACacheThatHasMoreThanTheRecordSaysFails) {
  connected();
  CacheSource cache{wire::pattern(kBlock + 2)};
  file = sized("new.bin", kBlock + 1);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").size(), 1u);
  EXPECT_EQ(file.size, static_cast<std::int64_t>(kBlock + 1)) << "the record is as it was";
}

TEST_F(Upload, ACacheThatGoesOnAndOnIsLeftAtTheFirstBlockTooMany) {
  connected();
  CacheSource cache{wire::pattern(4000000)};
  file = sized("new.bin", 100000);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_THAT(cache.requests(), SizeIs(2)) << "the second one goes beyond the size";
  expect_dropped();
}

class ThrowingCache final : public ICacheIO {
 public:
  int ReadBlock(CACHE_READ_REQUEST*) override { throw std::runtime_error{"disk"}; }
};

TEST_F(Upload, ACacheThatThrowsFailsAndLeavesALine) {
  connected();
  ThrowingCache cache;
  file = sized("new.bin", 10);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Upload id [/docs], name [new.bin]",
                                            "8 [PROTOCOL  ] Upload exception: [disk]",
                                            "8 [PROTOCOL  ] Upload id: [new.bin] , exec error: [42]"));
  expect_dropped();
}

// ---- cancelling ----

TEST_F(Upload, AStoppedHandleSendsNoBytes) {
  fakes::stop(*handle);
  connected();
  CacheSource cache{wire::pattern(100)};
  file = sized("new.bin", 100);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED) << "never UPLOAD_CANCELED";
  EXPECT_THAT(cache.requests(), IsEmpty());
  expect_failure(42);
  expect_dropped();
}

TEST_F(Upload, CancelledOnTheWayFailsAndDropsTheConnection) {
  connected();
  CacheSource cache{wire::pattern(3 * kBlock), {.cancel_at = kBlock}};
  file = sized("new.bin", 3 * kBlock);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  expect_failure(42);
  EXPECT_THAT(cache.requests(), SizeIs(2)) << "not asked again";
  EXPECT_EQ(handle->position, static_cast<std::int64_t>(kBlock)) << "the cancelled block does not count";
  EXPECT_EQ(handle.use_count(), 1);
  expect_dropped();
  EXPECT_THAT(server.dialogue(1), Not(Contains("QUIT"))) << "there is no control connection to say it on";
}

TEST_F(Upload, CancelledInTheLastBlockFails) {
  connected();
  CacheSource cache{wire::pattern(kBlock + 1), {.cancel_at = kBlock}};
  file = sized("new.bin", kBlock + 1);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  expect_failure(42);
}

TEST_F(Upload, CancelledBehindTheLastBlockHasStoredTheFile) {
  connected();
  fakes::Gate gate;
  server.on("MDTM").hold(gate);
  std::thread canceller{[&] {
    EXPECT_TRUE(gate.await_arrivals(1));
    fakes::stop(*handle);
    gate.open();
  }};
  EXPECT_EQ(upload(wire::pattern(kBlock)), SUCCESS);
  canceller.join();
  EXPECT_EQ(server.file("/docs/new.bin"), wire::pattern(kBlock));
}

TEST_F(Upload, CancelledOnceAllBytesAreSentHasStoredTheFile) {
  handle->progress_context = handle.get();
  handle->progress = [](std::int64_t total, std::int64_t now, void* context, double) {
    if (total > 0 && now == total) fakes::stop(*static_cast<_FS_HANDLE*>(context));
    return 0;
  };
  connected();
  EXPECT_EQ(upload(wire::pattern(kBlock)), SUCCESS);
  EXPECT_EQ(handle->state, FS_HANDLE_STOP);
  EXPECT_EQ(server.file("/docs/new.bin"), wire::pattern(kBlock));
  expect_kept();
}

TEST_F(Upload, StatesBelowStopDoNotMatter) {
  handle->state = FS_HANDLE_STOP - 1;
  connected();
  EXPECT_EQ(upload("abc"), SUCCESS);
}

TEST_F(Upload, NeedsNoHandle) {
  connected();
  CacheSource cache{"abc"};
  file = sized("new.bin", 3);
  EXPECT_EQ(protocol->Upload("/docs", nullptr, &cache, &file, UPLOAD_FLAG{}, nullptr), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), "abc");
}

// ---- servers that refuse or break ----

TEST_F(Upload, ARefusedStoreFailsAndDropsTheConnection) {
  connected();
  for (const char* refusal : {"550 Not allowed.", "552 Quota exceeded.", "553 No such name.", "450 Busy.",
                              "425 No data connection.", "530 Not you."}) {
    log.clear();
    server.on("STOR").reply(refusal).times(1);
    EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << refusal;
    expect_failure(25);
    ASSERT_TRUE(server.wait_until_idle());
  }
  EXPECT_EQ(server.file("/docs/new.bin"), std::nullopt);
  EXPECT_EQ(upload("hello"), SUCCESS);
}

TEST_F(Upload, ADirectoryThatIsNotThereIsDenied) {
  connected();
  CacheSource cache{"abc"};
  file = sized("new.bin", 3);
  EXPECT_EQ(upload("/nowhere", cache), ACCESS_DENIED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] Upload id: [new.bin] , exec error: [9]"));
  EXPECT_THAT(cache.requests(), IsEmpty());
  EXPECT_EQ(server.count("MKD"), 0u);
  expect_dropped();
}

TEST_F(Upload, ARefusalBehindTheDataFails) {
  connected();
  for (const auto& [closing, code] : {std::pair{"552 Disk full.", 70},
                                      {"550 Failed.", 18},
                                      {"451 Error.", 18},
                                      {"426 Broken.", 18},
                                      {"553 No.", 18}}) {
    log.clear();
    server.on("STOR").closing(closing).times(1);
    EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << closing;
    expect_failure(code);
  }
}

TEST_F(Upload, BrokenDataFails) {
  connected();
  server.on("STOR").break_data_after(100000).times(1);
  EXPECT_EQ(upload(wire::pattern(20000000)), FILE_WRITE_FAILED);
  server.on("STOR").break_data_after(3).times(1);
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), SizeIs(2));
  EXPECT_EQ(file.modify_time, "");
  EXPECT_EQ(server.file("/docs/new.bin"), std::nullopt);
}

TEST_F(Upload, DataThatTheServerDoesNotWaitForFailsOrIsNotFoundAgain) {
  connected();
  server.on("STOR").end_data_after(100000).times(1);
  EXPECT_EQ(upload(wire::pattern(20000000)), FILE_WRITE_FAILED) << "226 or not";
  server.on("STOR").end_data_after(3).times(1);
  EXPECT_NE(upload("hello"), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), std::nullopt);
}

TEST_F(Upload, AControlConnectionThatEndsOnTheWayFails) {
  connected();
  server.on("STOR").hang_up_after_data(100000).times(1);
  EXPECT_EQ(upload(wire::pattern(20000000)), FILE_WRITE_FAILED);
  server.on("STOR").hang_up_after_data(5).times(1);
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << "all sent, and nobody said that it arrived";
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), SizeIs(2));
  server.on("STOR").hang_up().times(1);
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED);
  EXPECT_EQ(upload("hello"), SUCCESS);
}

TEST_F(Upload, ALostFileFailsAlthoughTheServerSaidItWasStored) {
  connected();
  server.on("STOR").lose();
  EXPECT_EQ(upload("hello"), FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] ftp_get_info id: [/docs/new.bin] , exec error: [78]"));
  EXPECT_EQ(file.size, -1) << "no size that could pass for the right one";
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(server.connections_seen(), 1u) << "the re-read found the connection given back";
}

TEST_F(Upload, ASecondReplyIsNotTakenForTheSizeThatTheServerHas) {
  connected();
  server.on("STOR").closing("226 Stored.\r\n226 Quota: 1%.").times(1);
  EXPECT_EQ(upload("hello"), SUCCESS);
  EXPECT_EQ(file.size, 5);
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(server.connections_seen(), 2u) << "the re-read begins anew";
}

TEST_F(Upload, FailsWhereTheServerHasStoredAnotherSize) {
  connected();
  for (const char* size : {"213 3", "213 0", "213 6"}) {
    server.on("SIZE").reply(size).times(1);
    EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << size;
    EXPECT_EQ(file.size, 5) << "the record keeps what a further try is to send";
  }
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").front(),
            "8 [PROTOCOL  ] Upload id: [new.bin] , 3 bytes of 5 are stored");
  EXPECT_EQ(server.file("/docs/new.bin"), "hello") << "what is stored stays there";
  EXPECT_EQ(upload("hello"), SUCCESS);
}

TEST_F(Upload, OfAnUnknownSizeIsNotCompared) {
  connected();
  CacheSource cache{"hello"};
  file = sized("new.bin", 0);
  file.size = -1;
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(file.size, 5);
}

TEST_F(Upload, AServerThatTellsNoSizeLeavesItUnknown) {
  server.lacks("SIZE");
  server.lacks("MDTM");
  connected();
  EXPECT_EQ(upload("hello"), SUCCESS);
  EXPECT_EQ(file.size, -1);
  EXPECT_EQ(file.modify_time, "1969-12-31T23:59:59.000Z");
}

TEST_F(Upload, FailsWithoutAnErrorLineWhenNobodyAnswers) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  server.stop();
  log.clear();
  EXPECT_EQ(upload("hello"), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Upload id [/docs], name [new.bin]"));
}

// ---- repeating ----

TEST_F(Upload, AnUnreadableEpsvReplyIsTriedAgainBeforeAByteIsAskedFor) {
  server.on("EPSV").reply("229 nonsense").times(20);
  connected();
  CacheSource cache{wire::pattern(kBlock + 1)};
  file = sized("new.bin", kBlock + 1);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), wire::pattern(kBlock + 1));
  ASSERT_THAT(cache.requests(), Not(IsEmpty()));
  EXPECT_EQ(cache.requests()[0].offset, 0);
  EXPECT_THAT(cache.requests(), SizeIs(2));
  EXPECT_EQ(server.count("EPSV"), 21u);
  EXPECT_EQ(server.count("STOR"), 1u);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), IsEmpty());
}

TEST_F(Upload, AnUnreadableEpsvReplyIsTriedTwentyOneTimes) {
  server.on("EPSV").reply("229 nonsense");
  connected();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{2100}));
  EXPECT_EQ(server.count("EPSV"), 21u);
  EXPECT_EQ(server.count("STOR"), 0u);
  expect_failure(13);
  expect_dropped();
}

// ---- names ----

TEST_F(Upload, NeverSendsALineBreak) {
  connected();
  for (const char* text : wire::kLineBreaks) {
    const std::string name = text;
    for (const auto& [path, broken] :
         {std::pair<const char*, std::string>{"/docs", name}, {text, "new.bin"}}) {
      log.clear();
      CacheSource cache{"abc"};
      file = sized(broken, 3);
      EXPECT_EQ(upload(path, cache), FILE_WRITE_FAILED);
      EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
                  ElementsAre("8 [PROTOCOL  ] Upload id: [" + broken + "] , exec error: [3]"));
      EXPECT_THAT(cache.requests(), IsEmpty());
    }
  }
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  expect_kept();
}

TEST_F(Upload, TheConvertedNameIsStoredAndReadAgain) {
  const wire::Latin1Locale locale;
  ASSERT_TRUE(locale) << "localedef and the character maps of the package `locales` are needed";
  server.lacks("UTF8");
  connected();
  CacheSource cache{"abc"};
  file = sized(wire::kUtf8Name, 3);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  const std::string latin1 = wire::kLatin1Name;
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("2: TYPE I", "2: CWD /", "2: CWD docs", "2: EPSV", "2: TYPE I", "2: STOR " + latin1,
                          "2: MDTM " + latin1, "2: SIZE " + latin1, "2: REST 0"));
  EXPECT_EQ(file.id, "/docs/" + latin1);
  EXPECT_EQ(file.name, wire::kUtf8Name);
  EXPECT_EQ(file.size, 3);
}

TEST_F(Upload, TheErrorLineShowsTheConvertedName) {
  const wire::Latin1Locale locale;
  ASSERT_TRUE(locale) << "localedef and the character maps of the package `locales` are needed";
  server.lacks("UTF8");
  connected();
  server.on("STOR").reply("550 No.");
  CacheSource cache{"abc"};
  file = sized(wire::kUtf8Name, 3);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), ElementsAre(std::string{"8 [PROTOCOL  ] Upload id: ["} +
                                                         wire::kLatin1Name + "] , exec error: [25]"));
}

// ---- progress, speed, and what stays behind ----

TEST_F(Upload, TellsItsProgress) {
  fakes::ProgressLog progress{*handle};
  connected();
  EXPECT_EQ(upload(wire::pattern(300000)), SUCCESS);
  ASSERT_THAT(progress.calls(), Not(IsEmpty()));
  EXPECT_EQ(progress.calls().back().now, 300000);
  EXPECT_EQ(progress.calls().back().total, 300000);
  EXPECT_GT(progress.calls().back().speed, 0.0);
}

TEST_F(Upload, NothingThatStaysSetPointsIntoAFinishedCall) {
  connected();
  {
    const auto ending = fakes::make_handle();
    const auto progress = std::make_unique<fakes::ProgressLog>(*ending);
    CacheSource cache{"abc"};
    file = sized("new.bin", 3);
    EXPECT_EQ(protocol->Upload("/docs", ending, &cache, &file, UPLOAD_FLAG{}, nullptr), SUCCESS);
    EXPECT_THAT(progress->calls(), Not(IsEmpty()));
  }
  // Each of these runs on the same handle; a pointer into what has ended would be followed here.
  EXPECT_EQ(upload("without a progress function"), SUCCESS);
  fakes::FetchSink sink;
  fakes::ProgressLog downloads{*handle};
  EXPECT_EQ(protocol->Read("/docs/a.txt", 0, 11, handle, &sink, nullptr), SUCCESS);
  EXPECT_EQ(sink.bytes(), "hello world");
  const std::size_t calls = downloads.calls().size();
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), SUCCESS);
  EXPECT_EQ(downloads.calls().size(), calls);
}

TEST_F(Upload, AFailedOneLeavesNothingSetForTheNextRequest) {
  connected();
  {
    const auto ending = fakes::make_handle();
    const auto progress = std::make_unique<fakes::ProgressLog>(*ending);
    server.on("STOR").reply("550 No.").times(1);
    CacheSource cache{"abc"};
    file = sized("new.bin", 3);
    EXPECT_EQ(protocol->Upload("/docs", ending, &cache, &file, UPLOAD_FLAG{}, nullptr), FILE_WRITE_FAILED);
  }
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.dialogue(1).back(), "QUIT") << "and no upload on the way out";
  expect_dropped();
}

TEST_F(Upload, TheNextOperationOnTheHandleIsNoUpload) {
  connected();
  EXPECT_EQ(upload("hello"), SUCCESS);
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), Contains("new.bin"));
  fakes::FetchSink sink;
  EXPECT_EQ(protocol->Read("/docs/new.bin", 0, 5, handle, &sink, nullptr), SUCCESS);
  EXPECT_EQ(sink.bytes(), "hello");
  EXPECT_EQ(server.count("STOR"), 1u);
  EXPECT_EQ(server.uploads().size(), 1u);
}

TEST_F(Upload, ManyInARowUseOneConnection) {
  connected();
  for (int n = 0; n < 20; ++n) {
    CacheSource cache{std::to_string(n)};
    file = sized("file" + std::to_string(n), std::to_string(n).size());
    ASSERT_EQ(upload("/docs/sub", cache), SUCCESS);
  }
  for (int n = 0; n < 20; ++n) {
    EXPECT_EQ(server.file("/docs/sub/file" + std::to_string(n)), std::to_string(n));
  }
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Upload, KeepsTheSpeedLimit) {
  connected();
  EXPECT_EQ(protocol->SetOpt("speedlimit", "200000"), SUCCESS);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(upload(wire::pattern(300000)), SUCCESS);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{900}));
  EXPECT_EQ(server.file("/docs/new.bin"), wire::pattern(300000));
}

}  // namespace
