// One object, many threads, real servers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/live/session.h"
#include "tests/servers/ftp_servers.h"

namespace {

using fakes::some_bytes;
using live::Session;

std::ptrdiff_t open_descriptors() {
  return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
}

class LiveThreads : public testing::TestWithParam<servers::Server> {};

TEST_P(LiveThreads, ManyMixListingsLookUpsAndReadsOnOneObject) {
  // ProFTPD takes no new session for 200 ms after one has ended, and every ranged read ends one: sixteen
  // threads would wait for their logins beyond any limit.
  const bool slow = GetParam().start_it == servers::start_proftpd;
  const int threads_wanted = slow ? 4 : 16;
  const int operations = slow ? 100 : 400;
  constexpr int kFiles = 7;
  constexpr std::size_t kSize = 150'000;
  servers::Daemon server = GetParam().start();
  std::vector<std::string> contents;
  for (unsigned n = 0; n < kFiles; ++n) {
    contents.push_back(some_bytes(kSize, n + 1));
    server.add_file("many/" + std::to_string(n) + ".bin", contents.back());
  }
  const std::ptrdiff_t before = open_descriptors();
  {
    const Session session{server};
    ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
    std::atomic<int> next{0};
    std::atomic<int> wrong_listings{0}, wrong_look_ups{0}, wrong_reads{0};
    std::latch begin{threads_wanted};
    const auto work = [&] {
      begin.arrive_and_wait();
      for (int n = next++; n < operations; n = next++) {
        const auto file = static_cast<std::size_t>(n % kFiles);
        const std::string path = "/many/" + std::to_string(file) + ".bin";
        if (n % 3 == 0) {
          fakes::FileList list;
          int found = 0;
          if (session->GetFileList("/many", &list, nullptr) == SUCCESS) {
            for (const _FS_FILE_V2& entry : list.files()) found += entry.size == kSize ? 1 : 0;
          }
          if (found != kFiles) ++wrong_listings;
        } else if (n % 3 == 1) {
          _FS_FILE_V2 entry;
          entry.attr = FS_ATTR_FILE;
          if (session->GetFileInfo(path.c_str(), &entry, nullptr) != SUCCESS || entry.size != kSize) {
            ++wrong_look_ups;
          }
        } else {
          const auto offset = static_cast<std::size_t>(n) * 37 % 70'000;
          const auto length = static_cast<std::size_t>(n) * 101 % 70'000 + 1;
          fakes::FetchSink sink;
          if (session->Read(path.c_str(), static_cast<long long>(offset), static_cast<long long>(length),
                            fakes::make_handle(), &sink, nullptr) != SUCCESS ||
              sink.bytes() != contents[file].substr(offset, length)) {
            ++wrong_reads;
          }
        }
      }
    };
    std::vector<std::thread> threads;
    for (int n = 0; n < threads_wanted; ++n) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong_listings, 0);
    EXPECT_EQ(wrong_look_ups, 0);
    EXPECT_EQ(wrong_reads, 0);
    EXPECT_THAT(session.log().lines_with("exec error"), testing::IsEmpty());
    EXPECT_LE(open_descriptors(), before + 3 * 6)
        << "more than six connections are kept, each with its socket and what wakes its driver";
  }
  EXPECT_LE(open_descriptors(), before);
}

// pyftpdlib 1.5.7 mixes up its sessions when several of them abort transfers at once: a new session is sent
// "226 Transfer complete." in answer to SIZE.
std::vector<servers::Server> servers_for_threads() {
  std::vector<servers::Server> servers = servers::directly_reached_ftp_servers();
  std::erase_if(servers,
                [](const servers::Server& server) { return server.start_it == servers::start_pyftpdlib; });
  return servers;
}

INSTANTIATE_TEST_SUITE_P(, LiveThreads, testing::ValuesIn(servers_for_threads()),
                         [](auto& row) { return row.param.label; });

}  // namespace
