#include "fileops/read_context.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ftp_plugin {
namespace {

using shape = std::vector<std::pair<long long, long long>>;

class Sink final : public IFetchCallback {
 public:
  int Deliver(long long offset, const char* data, long long length, long long reserved) override {
    blocks.emplace_back(offset, length);
    bytes.append(data, static_cast<std::size_t>(length));
    EXPECT_EQ(reserved, 0);
    if (on_block) on_block();
    return -1;  // ignored
  }
  shape blocks;
  std::string bytes;
  std::function<void()> on_block;
};

class ReadContext : public testing::Test {
 protected:
  void expect_range(long long offset, long long length) {
    context.offset = context.start = offset;
    context.remaining = length;
    context.handle = handle;
    context.callback = &sink;
  }
  std::size_t receive(std::string piece) {
    return write_callback_cache_func(piece.data(), 1, piece.size(), &context);
  }
  Sink sink;
  std::shared_ptr<_FS_HANDLE> handle = std::make_shared<_FS_HANDLE>();
  _RAWRITECTX context;
};

TEST_F(ReadContext, BlocksAreFullButTheLast) {
  expect_range(100, 65536 * 2 + 10);
  const std::string bytes(65536 * 2 + 10, 'x');
  for (std::size_t at = 0; at < bytes.size(); at += 1000) {
    const std::string piece = bytes.substr(at, 1000);
    ASSERT_EQ(receive(piece), piece.size());
  }
  EXPECT_EQ(sink.blocks, (shape{{100, 65536}, {65636, 65536}, {131172, 10}}));
  EXPECT_EQ(sink.bytes, bytes);
  EXPECT_EQ(context.received, 65536 * 2 + 10);
}

TEST_F(ReadContext, OnePieceMayHoldSeveralBlocks) {
  expect_range(0, 65536 * 3);
  receive(std::string(65536 * 3, 'x'));
  EXPECT_EQ(sink.blocks, (shape{{0, 65536}, {65536, 65536}, {131072, 65536}}));
}

TEST_F(ReadContext, ATailBelowABlockIsNotDelivered) {
  expect_range(0, 70000);
  receive(std::string(69999, 'x'));
  EXPECT_EQ(sink.blocks, (shape{{0, 65536}}));
}

TEST_F(ReadContext, AStoppedTransferTakesNothing) {
  expect_range(0, 10);
  handle->state = FS_HANDLE_STOP;
  EXPECT_EQ(receive("0123456789"), 0U);
  EXPECT_TRUE(sink.blocks.empty());
}

TEST_F(ReadContext, AStopDuringABlockEndsTheTransferBehindIt) {
  expect_range(0, 65536 * 2);
  sink.on_block = [this] { handle->state = 5; };
  EXPECT_EQ(receive(std::string(65536 * 2, 'x')), 0U);
  EXPECT_EQ(sink.blocks, (shape{{0, 65536}}));
}

TEST_F(ReadContext, StatesBelowStopDoNotMatter) {
  expect_range(0, 3);
  handle->state = FS_HANDLE_STOP - 1;
  EXPECT_EQ(receive("abc"), 3U);
  EXPECT_EQ(sink.bytes, "abc");
}

TEST_F(ReadContext, NoHandleMeansNeverStopped) {
  expect_range(0, 3);
  context.handle = nullptr;
  EXPECT_EQ(receive("abc"), 3U);
}

TEST_F(ReadContext, AnEmptyPieceIsTakenAsItIs) {
  expect_range(0, 3);
  EXPECT_EQ(receive(""), 0U);
  EXPECT_EQ(receive("abc"), 3U);
}

TEST_F(ReadContext, AThrowingSinkEndsTheTransfer) {
  expect_range(0, 3);
  sink.on_block = [] { throw std::runtime_error{"host"}; };
  EXPECT_EQ(receive("abc"), 0U);
}

}  // namespace
}  // namespace ftp_plugin
