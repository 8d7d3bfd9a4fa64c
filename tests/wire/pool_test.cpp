// How connections are shared, kept and dropped, and many operations at once on one object.
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <latch>
#include <thread>

#include "tests/wire/wire_fixture.h"

namespace {

using fakes::FetchSink;
using fakes::FileList;
using fakes::Gate;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Le;

std::size_t open_descriptors() {
  const std::filesystem::directory_iterator descriptors{"/proc/self/fd"};
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

class Pool : public wire::Wire {
 protected:
  AERROR list(const char* path) {
    FileList entries;
    return protocol->GetFileList(path, &entries, nullptr);
  }
};

TEST_F(Pool, KeepsSixAndClosesTheSeventh) {
  connected();
  Gate gate;
  server.on("MLSD").hold(gate);
  std::vector<std::thread> threads;
  std::atomic<int> successes{0};
  for (int n = 0; n < 7; ++n) {
    threads.emplace_back([&] { successes += list("/docs") == SUCCESS ? 1 : 0; });
  }
  EXPECT_TRUE(gate.await_arrivals(7));
  EXPECT_EQ(server.open_connections(), 7u);
  gate.open();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(successes, 7);
  EXPECT_TRUE(server.wait_for([&] { return server.open_connections() == 6; }));
  EXPECT_EQ(server.connections_seen(), 7u);
  EXPECT_EQ(server.count("QUIT"), 1u);
  released();
  EXPECT_EQ(server.count("QUIT"), 7u);
}

TEST_F(Pool, NewConnectionsOnlyLogIn) {
  connected();
  Gate gate;
  server.on("MLSD docs").hold(gate).times(1);
  std::thread held{[&] { EXPECT_EQ(list("/docs"), SUCCESS); }};
  ASSERT_TRUE(gate.await_arrivals(1));
  EXPECT_EQ(list("/docs/sub"), SUCCESS);
  gate.open();
  held.join();
  EXPECT_THAT(server.dialogue(2), ElementsAre("USER anonymous", "PASS ftp@example.com", "PWD", "EPSV",
                                              "TYPE A", "MLSD docs/sub"));
}

TEST_F(Pool, HandsOutFirstWhatCameBackFirst) {
  connected();
  Gate first;
  Gate second;
  server.on("MLSD").hold(first).on_connection(1).times(1);
  server.on("MLSD").hold(second).on_connection(2).times(1);
  std::thread on_one{[&] { EXPECT_EQ(list("/docs"), SUCCESS); }};
  ASSERT_TRUE(first.await_arrivals(1));
  std::thread on_two{[&] { EXPECT_EQ(list("/docs"), SUCCESS); }};
  ASSERT_TRUE(second.await_arrivals(1));
  second.open();
  on_two.join();
  first.open();
  on_one.join();
  (void)server.take_dialogue();
  EXPECT_EQ(list("/docs/sub"), SUCCESS);
  EXPECT_EQ(list("/docs/sub"), SUCCESS);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("2: EPSV", "2: MLSD docs/sub", "1: EPSV", "1: MLSD docs/sub"));
}

TEST_F(Pool, DropsTheConnectionOfAFailedRequest) {
  connected();
  EXPECT_EQ(list("/none"), FAILED);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(list("/docs"), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 2u);
  EXPECT_EQ(server.open_connections(), 1u);
}

TEST_F(Pool, AServerThatIsDownFailsTheOperationAndNothingElse) {
  connected();
  server.stop();
  EXPECT_EQ(list("/docs"), FAILED) << "the idle connection is dead";
  EXPECT_EQ(list("/docs"), FAILED) << "and no other can be had";
  FetchSink sink;
  EXPECT_EQ(protocol->Read("/docs/a.txt", 0, 5, fakes::make_handle(), &sink, nullptr), FAILED);
  _FS_FILE_V2 file;
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), FAILED);
  EXPECT_THAT(sink.chunks(), IsEmpty());
}

TEST_F(Pool, ComesBackWithTheServer) {
  connected();
  server.on("CONNECT").reply("421 Full.").times(1);
  server.on("EPSV").hang_up().on_connection(1);
  EXPECT_EQ(list("/docs"), FAILED);
  EXPECT_EQ(list("/docs"), FAILED) << "the server is full";
  EXPECT_EQ(list("/docs"), SUCCESS);
}

TEST_F(Pool, OperationsBeforeALoginFailInsteadOfCrashing) {
  _FS_FILE_V2 file;
  FetchSink sink;
  EXPECT_NE(list("/docs"), SUCCESS);
  EXPECT_NE(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_NE(protocol->Read("/docs/a.txt", 0, 5, fakes::make_handle(), &sink, nullptr), SUCCESS);
  EXPECT_THAT(log.lines_with("exception"),
              testing::ElementsAre("8 [PROTOCOL  ] GetFileList exception: [no login yet]",
                                   "8 [PROTOCOL  ] GetFileInfo exception: [no login yet]",
                                   "8 [PROTOCOL  ] Read exception: [no login yet]"));
}

TEST_F(Pool, AFailedLoginLeavesAPoolThatFails) {
  server.accept_only("jane", "right");
  EXPECT_EQ(connect(), ACCESS_DENIED);
  EXPECT_EQ(list("/docs"), FAILED);
  EXPECT_EQ(server.logins(), 0u);
}

TEST_F(Pool, GivesEveryDescriptorBack) {
  server.on("CONNECT").delay(std::chrono::milliseconds{0});
  const std::size_t before = open_descriptors();
  connected();
  EXPECT_EQ(list("/docs"), SUCCESS);
  EXPECT_EQ(list("/none"), FAILED);
  FetchSink sink;
  EXPECT_EQ(protocol->Read("/docs/a.txt", 1, 5, fakes::make_handle(), &sink, nullptr), SUCCESS);
  EXPECT_EQ(list("/docs"), SUCCESS);
  released();
  server.stop();
  EXPECT_THAT(open_descriptors(), Le(before)) << "the server itself has closed its own by now";
}

/// The whole life of an object under load.
TEST_F(Pool, SixteenThreadsMixListingsAndReadsTenThousandTimes) {
  constexpr int kThreads = 16;
  constexpr int kOperations = 10000;
  constexpr int kFiles = 20;
  std::string names;
  for (int n = 0; n < kFiles; ++n) {
    const std::string name = "file" + std::to_string(n);
    server.add_file("/many/" + name, fakes::some_bytes(static_cast<std::size_t>(70000 + 100 * n)));
  }
  fakes::plugin().UnbindLogger();
  const std::size_t before = open_descriptors();
  connected();

  std::atomic<int> next{0};
  std::atomic<int> wrong{0};
  std::latch start{kThreads};
  const auto work = [&] {
    start.arrive_and_wait();
    for (int n = next++; n < kOperations; n = next++) {
      if (n % 2 == 0) {
        FileList entries;
        if (protocol->GetFileList("/many", &entries, nullptr) != SUCCESS) ++wrong;
        if (entries.files().size() != kFiles) ++wrong;
      } else {
        const int file = n / 2 % kFiles;
        const long long offset = n % 70000;
        const long long length = std::min<long long>(1 + n % 3000, 70000 + 100 * file - offset);
        FetchSink sink;
        const std::string path = "/many/file" + std::to_string(file);
        if (protocol->Read(path.c_str(), offset, length, fakes::make_handle(), &sink, nullptr) != SUCCESS) {
          ++wrong;
        }
        const std::string whole = fakes::some_bytes(static_cast<std::size_t>(offset + length));
        if (sink.bytes() != whole.substr(static_cast<std::size_t>(offset))) ++wrong;
      }
    }
  };
  std::vector<std::thread> threads;
  for (int n = 0; n < kThreads; ++n) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(server.wait_for([&] { return server.open_connections() <= 6; }));
  released();
  server.stop();
  EXPECT_THAT(open_descriptors(), Le(before));
}

}  // namespace
