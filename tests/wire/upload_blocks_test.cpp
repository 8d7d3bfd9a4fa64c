// The blocks of an upload: what the cache is asked for, cancelling, progress and speed.
#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/wire/upload_fixture.h"

namespace {

using fakes::CacheSource;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using wire::kBlock;
using wire::Upload;

/// What libcurl calls a source that ends before the size it was told.
int source_ended_early() {
  return curl_version_info(CURLVERSION_NOW)->version_num < 0x080000 ? CURLE_PARTIAL_FILE : CURLE_READ_ERROR;
}

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
  const std::string bytes = fakes::some_bytes(GetParam());
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
  const std::string bytes = fakes::some_bytes(5000);
  connected();
  CacheSource cache{bytes, {.block_limit = 7, .result = -1}};
  file = sized("new.bin", bytes.size());
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), bytes);
  EXPECT_THAT(cache.requests(), SizeIs((5000 + 6) / 7));
}

TEST_F(Upload, ACacheThatStopsEarlyFailsAlthoughTheServerIsContent) {
  const std::string bytes = fakes::some_bytes(200000);
  connected();
  CacheSource cache{bytes, {.end_at = 100000}};
  file = sized("new.bin", bytes.size());
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  expect_failure(source_ended_early());
  EXPECT_EQ(file.size, 200000) << "the record is as it was";
  if (source_ended_early() == CURLE_PARTIAL_FILE) {  // libcurl 8 breaks off, and not all has arrived by then
    EXPECT_EQ(server.file("/docs/new.bin")->size(), 100000u) << "what the server was given stays there";
  }
  expect_dropped();
}

TEST_F(Upload, ACacheThatHasNothingFails) {
  connected();
  CacheSource cache{"", {}};
  file = sized("new.bin", 1);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  expect_failure(source_ended_early());
}

TEST_F(Upload, ACacheThatHasSomethingForAnEmptyRecordFails) {
  connected();
  CacheSource cache{"x"};
  file = sized("new.bin", 0);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").size(), 1u);
}

TEST_F(Upload, ACacheThatHasMoreThanTheRecordSaysFails) {
  connected();
  CacheSource cache{fakes::some_bytes(kBlock + 2)};
  file = sized("new.bin", kBlock + 1);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").size(), 1u);
  EXPECT_EQ(file.size, static_cast<std::int64_t>(kBlock + 1)) << "the record is as it was";
}

TEST_F(Upload, ACacheThatGoesOnAndOnIsLeftAtTheFirstBlockTooMany) {
  connected();
  CacheSource cache{fakes::some_bytes(4000000)};
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
  CacheSource cache{fakes::some_bytes(100)};
  file = sized("new.bin", 100);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED) << "never UPLOAD_CANCELED";
  EXPECT_THAT(cache.requests(), IsEmpty());
  expect_failure(42);
  expect_dropped();
}

TEST_F(Upload, CancelledOnTheWayFailsAndDropsTheConnection) {
  connected();
  CacheSource cache{fakes::some_bytes(3 * kBlock), {.cancel_at = kBlock}};
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
  CacheSource cache{fakes::some_bytes(kBlock + 1), {.cancel_at = kBlock}};
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
  EXPECT_EQ(upload(fakes::some_bytes(kBlock)), SUCCESS);
  canceller.join();
  EXPECT_EQ(server.file("/docs/new.bin"), fakes::some_bytes(kBlock));
}

TEST_F(Upload, CancelledOnceAllBytesAreSentHasStoredTheFile) {
  handle->progress_context = handle.get();
  handle->progress = [](std::int64_t total, std::int64_t now, void* context, double) {
    if (total > 0 && now == total) fakes::stop(*static_cast<_FS_HANDLE*>(context));
    return 0;
  };
  connected();
  EXPECT_EQ(upload(fakes::some_bytes(kBlock)), SUCCESS);
  EXPECT_EQ(handle->state, FS_HANDLE_STOP);
  EXPECT_EQ(server.file("/docs/new.bin"), fakes::some_bytes(kBlock));
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

TEST_F(Upload, TellsItsProgress) {
  fakes::ProgressLog progress{*handle};
  connected();
  EXPECT_EQ(upload(fakes::some_bytes(300000)), SUCCESS);
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
  EXPECT_EQ(upload(fakes::some_bytes(300000)), SUCCESS);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{900}));
  EXPECT_EQ(server.file("/docs/new.bin"), fakes::some_bytes(300000));
}

}  // namespace
