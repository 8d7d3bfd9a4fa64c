#include "host/remote/host_objects.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace ftp_host {
namespace {

TEST(UploadSource, StopsTheTransferWhenAReadFails) {
  const std::vector<BlockReader> failing{
      [](std::int64_t, char*, std::size_t) { return std::int64_t{-1}; },
      [](std::int64_t, char*, std::size_t) -> std::int64_t { throw std::runtime_error{"unreadable"}; }};
  for (const BlockReader& reader : failing) {
    LifeSign life;
    UploadSource source{reader, life};
    std::array<char, 8> buffer{};
    CACHE_READ_REQUEST request;
    request.buffer = buffer.data();
    request.length = buffer.size();
    request.handle = std::make_shared<_FS_HANDLE>();
    EXPECT_NE(source.ReadBlock(&request), 0);
    EXPECT_EQ(request.done, 0u);
    EXPECT_EQ(request.handle->state, FS_HANDLE_STOP);
  }
}

TEST(FetchSink, StopsTheTransferAndTakesNothingMoreAfterTheWritersNo) {
  LifeSign life;
  const auto handle = std::make_shared<_FS_HANDLE>();
  int asked = 0;
  FetchSink sink{[&](std::int64_t, const char*, std::size_t) { return ++asked < 2; }, handle, life};
  EXPECT_EQ(sink.Deliver(0, "abc", 3, 0), 0);
  EXPECT_NE(handle->state, FS_HANDLE_STOP);
  EXPECT_NE(sink.Deliver(3, "de", 2, 0), 0);
  EXPECT_EQ(handle->state, FS_HANDLE_STOP);
  (void)sink.Deliver(5, "f", 1, 0);
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(sink.received(), 3);
}

}  // namespace
}  // namespace ftp_host
