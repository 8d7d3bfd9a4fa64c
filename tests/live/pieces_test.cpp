// A file read piece by piece, in any order, on every real server.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>

#include "tests/fakes/bytes.h"
#include "tests/live/ftp_fixture.h"
#include "tests/live/session.h"

namespace {

using live::Session;

constexpr std::size_t kSize = 1'500'000;

/// What a range of `bytes` delivers: whole blocks, and a shorter last one only where the range ends with it.
std::string expected(const std::string& bytes, std::size_t offset, std::size_t length) {
  constexpr std::size_t kBlock = 65536;
  const std::size_t there = std::min(length, bytes.size() - offset);
  return bytes.substr(offset, there == length ? length : there / kBlock * kBlock);
}

class LivePieces : public live::OnFtpServer {
 protected:
  std::size_t logins(const Session& session) const { return session.log().lines_with("<<] USER ").size(); }

  const std::string bytes_ = fakes::some_bytes(kSize);
};

TEST_P(LivePieces, AreTheBytesOfTheFileWhateverIsAskedInBetween) {
  server_.add_file("folder/a.bin", bytes_);
  server_.add_file("other.bin", "other");
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
  std::mt19937 numbers{7};
  const auto below = [&](std::size_t limit) { return std::size_t{numbers()} % limit; };
  for (int n = 0; n < 48; ++n) {
    const std::size_t offset = below(kSize);
    const std::size_t length = 1 + below(n % 3 == 0 ? 900 : 300'000);  // some end behind the end of the file
    ASSERT_TRUE(session.read("/folder/a.bin", static_cast<long long>(offset),
                             static_cast<long long>(length)) == expected(bytes_, offset, length))
        << "piece " << n << ": " << length << " bytes from " << offset << "\n"
        << session.transcript();
    if (n % 5 == 0) {
      EXPECT_EQ(session.info("/folder/a.bin").size, static_cast<std::int64_t>(kSize));
    }
    if (n % 7 == 0) {
      EXPECT_EQ(session.read("/other.bin", 0, 5), "other");
    }
    if (n % 11 == 0) {
      EXPECT_EQ(session.list("/folder").size(), 1U);
    }
  }
}

TEST_P(LivePieces, KeepTheirLogin) {
  server_.add_file("a.bin", bytes_);
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
  constexpr int kPieces = 30;
  for (int n = 0; n < kPieces; ++n) {
    const std::size_t offset = std::size_t{40'000} * static_cast<std::size_t>(n);
    ASSERT_TRUE(session.read("/a.bin", static_cast<long long>(offset), 40'000) ==
                expected(bytes_, offset, 40'000))
        << session.transcript();
  }
  // Pure-FTPd sometimes says nothing behind an early end over TLS. From then on that login ends each piece in
  // libcurl's way, which costs it.
  if (GetParam().tls() && std::string{GetParam().label}.starts_with("PureFtpd")) return;
  EXPECT_LE(logins(session), 2U) << session.transcript();
}

INSTANTIATE_TEST_SUITE_P(, LivePieces, testing::ValuesIn(servers::directly_reached_ftp_servers()),
                         [](auto& row) { return row.param.label; });

}  // namespace
