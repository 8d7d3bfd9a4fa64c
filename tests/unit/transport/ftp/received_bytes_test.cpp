// The system's counts of a socket, on a connection over loopback.
#include "transport/ftp/received_bytes.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string_view>

namespace ftp_plugin {
namespace {

/// Both ends of a TCP connection.
class ReceivedBytes : public testing::Test {
 protected:
  ReceivedBytes() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listener, 1), 0);
    EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
    EXPECT_EQ(connect(near_, reinterpret_cast<sockaddr*>(&address), size), 0);
    far_ = accept(listener, nullptr, nullptr);
    close(listener);
  }
  ~ReceivedBytes() override {
    close(near_);
    if (far_ >= 0) close(far_);
  }
  void say(std::string_view text) const {
    ASSERT_EQ(send(far_, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
  /// Waits until the other end has `bytes` or more.
  [[nodiscard]] bool has_come(std::int64_t bytes) const {
    for (int n = 0; n < 10'000; ++n) {
      if (bytes_received(near_).value_or(bytes) >= bytes) return true;
      pollfd watched{near_, POLLRDHUP, 0};
      poll(&watched, 1, 1);
    }
    return false;
  }

  int near_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int far_ = -1;
};

TEST_F(ReceivedBytes, AreCountedWhetherReadOrNot) {
  EXPECT_EQ(bytes_received(near_), 0);
  EXPECT_EQ(bytes_read(near_), 0);
  EXPECT_EQ(bytes_waiting(near_), 0);
  say("hello");
  ASSERT_TRUE(has_come(5));
  EXPECT_EQ(bytes_received(near_), 5);
  EXPECT_EQ(bytes_read(near_), 0);
  EXPECT_EQ(bytes_waiting(near_), 5);
  std::array<char, 3> bytes{};
  ASSERT_EQ(recv(near_, bytes.data(), bytes.size(), 0), 3);
  EXPECT_EQ(bytes_received(near_), 5);
  EXPECT_EQ(bytes_read(near_), 3);
  EXPECT_EQ(bytes_waiting(near_), 2);
}

TEST_F(ReceivedBytes, TheEndOfTheStreamCountsAsOne) {
  say("hello");
  close(far_);
  far_ = -1;
  ASSERT_TRUE(has_come(6));
  EXPECT_EQ(bytes_received(near_), 6);
  EXPECT_EQ(bytes_waiting(near_), 5);
}

TEST_F(ReceivedBytes, WhatIsNoTcpSocketIsNotCounted) {
  EXPECT_EQ(bytes_received(CURL_SOCKET_BAD), std::nullopt);
  EXPECT_EQ(bytes_read(CURL_SOCKET_BAD), std::nullopt);
  EXPECT_EQ(bytes_waiting(CURL_SOCKET_BAD), 0);
  std::array<int, 2> pair{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
  EXPECT_EQ(bytes_received(pair[0]), std::nullopt);
  for (const int end : pair) close(end);
}

}  // namespace
}  // namespace ftp_plugin
