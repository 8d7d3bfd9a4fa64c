#include "fileops/upload_context.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace ftp_plugin {
namespace {

class Cache final : public ICacheIO {
 public:
  int ReadBlock(CACHE_READ_REQUEST* request) override {
    EXPECT_EQ(request->done, 0U);
    EXPECT_EQ(request->reserved[0], 0U);
    EXPECT_EQ(request->reserved[1], 0U);
    handle = request->handle;
    file_size = request->file_size;
    ++calls;
    const auto offset = static_cast<std::size_t>(request->offset);
    const std::size_t n = std::min({bytes.size() - offset, static_cast<std::size_t>(request->length), most});
    std::memcpy(request->buffer, bytes.data() + offset, n);
    request->done = lie == 0 ? n : lie;
    if (on_read) on_read();
    return -1;  // ignored
  }
  std::string bytes;
  std::size_t most = SIZE_MAX;
  std::uint64_t lie = 0;  // what `done` says instead of the truth; 0: the truth
  int calls = 0;
  std::uint64_t file_size = 0;
  std::shared_ptr<_FS_HANDLE> handle;
  std::function<void()> on_read;
};

class UploadContext : public testing::Test {
 protected:
  std::size_t ask(std::size_t size, std::size_t count) {
    context.size = cache.bytes.size();
    return read_callback_cache_func(buffer, size, count, &context);
  }
  Cache cache;
  std::shared_ptr<_FS_HANDLE> handle = std::make_shared<_FS_HANDLE>();
  char buffer[64] = {};
  _RAREADCTX context{0, handle, &cache, 0, sizeof buffer};
};

TEST_F(UploadContext, ReadsOnWhereItEndedAndReportsThePosition) {
  cache.bytes = "0123456789";
  EXPECT_EQ(ask(2, 3), 6U);
  EXPECT_EQ(std::string(buffer, 6), "012345");
  EXPECT_EQ(handle->position, 6);
  EXPECT_EQ(ask(1, 64), 4U);
  EXPECT_EQ(std::string(buffer, 4), "6789");
  EXPECT_EQ(handle->position, 10);
  EXPECT_EQ(ask(1, 64), 0U);
  EXPECT_EQ(cache.handle, handle);
  EXPECT_EQ(cache.file_size, 10U);
}

TEST_F(UploadContext, ShortBlocksAreNoEnd) {
  cache.bytes = "abc";
  cache.most = 1;
  EXPECT_EQ(ask(1, 64), 1U);
  EXPECT_EQ(ask(1, 64), 1U);
  EXPECT_EQ(buffer[0], 'b');
}

TEST_F(UploadContext, AStoppedTransferIsAbortedWithoutReading) {
  cache.bytes = "abc";
  handle->state = FS_HANDLE_STOP;
  EXPECT_EQ(ask(1, 64), CURL_READFUNC_ABORT);
  EXPECT_EQ(cache.calls, 0);
}

TEST_F(UploadContext, AStopDuringTheReadAbortsAndLeavesThePosition) {
  cache.bytes = "abc";
  cache.on_read = [this] { handle->state = 4; };
  EXPECT_EQ(ask(1, 64), CURL_READFUNC_ABORT);
  EXPECT_EQ(handle->position, 0);
}

TEST_F(UploadContext, MoreThanWasAskedForIsRefused) {
  cache.bytes = "abc";
  // The second is a number that libcurl reads as "pause", the last one wraps the offset.
  for (const std::uint64_t lie : {std::uint64_t{65}, std::uint64_t{CURL_READFUNC_PAUSE}, UINT64_MAX}) {
    context.offset = 0;
    cache.lie = lie;
    EXPECT_EQ(ask(1, 64), 65U) << "libcurl ends the transfer on more than the buffer holds";
    EXPECT_EQ(context.offset, 0U);
    EXPECT_EQ(handle->position, 0);
  }
}

// libcurl 8 asks for the rest of the file with the length of the rest.
TEST_F(UploadContext, TheCacheIsAskedForAWholeBlockWhereLibcurlWantsTheRest) {
  cache.bytes = "0123456789";
  EXPECT_EQ(ask(1, 10), 10U);
  EXPECT_EQ(std::string(buffer, 10), "0123456789");
  EXPECT_EQ(context.offset, 10U);
  EXPECT_EQ(handle->position, 10);

  cache.bytes = "0123456789ab";
  context.offset = 0;
  context.size = 10;
  EXPECT_EQ(read_callback_cache_func(buffer, 1, 10, &context), 10U) << "libcurl gets what it asked for";
  EXPECT_EQ(context.offset, 12U) << "and the upload is told not to be whole";
}

TEST_F(UploadContext, TheRestInShortBlocksIsNoEnd) {
  cache.bytes = "0123";
  cache.most = 1;
  for (const std::size_t left : {4, 3, 2, 1}) EXPECT_EQ(ask(1, left), 1U);
  EXPECT_EQ(context.offset, 4U);
}

TEST_F(UploadContext, MoreThanABlockOfTheRestIsRefused) {
  cache.bytes = "abc";
  cache.lie = 65;
  EXPECT_EQ(ask(1, 3), 4U);
  EXPECT_EQ(context.offset, 0U);
}

TEST_F(UploadContext, ACacheThatWasNotAskedForAnEmptyFileIsAskedOnce) {
  ask_for_an_empty_file(context);
  EXPECT_EQ(cache.calls, 1);
  EXPECT_EQ(context.offset, 0U);
  ask_for_an_empty_file(context);
  EXPECT_EQ(cache.calls, 1) << "it has answered";
}

TEST_F(UploadContext, AnEmptyFileThatIsNotEmptyIsNotWhole) {
  cache.bytes = "abc";
  cache.on_read = [] { throw std::runtime_error{"host"}; };
  _RAREADCTX throwing{0, handle, &cache, 0, sizeof buffer};
  ask_for_an_empty_file(throwing);
  EXPECT_NE(throwing.offset, 0U);
}

TEST_F(UploadContext, AThrowingCacheAborts) {
  cache.bytes = "abc";
  cache.on_read = [] { throw std::runtime_error{"host"}; };
  EXPECT_EQ(ask(1, 64), CURL_READFUNC_ABORT);
}

}  // namespace
}  // namespace ftp_plugin
