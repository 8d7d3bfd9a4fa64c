// Uploads to every real server: what lies on the server's disk afterwards, and what the record says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/live/ftp_fixture.h"
#include "tests/live/session.h"
#include "tests/servers/disk.h"

namespace {

using fakes::CacheSource;
using fakes::some_bytes;
using live::Session;
using live::time_text;
using servers::bytes_of;
using servers::Daemon;
using servers::Server;
using servers::Tls;
using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using testing::SizeIs;

namespace fs = std::filesystem;

/// Uploads from `cache` under `name` into `folder`; `file` becomes the record.
AERROR upload(const Session& session, const char* folder, const std::string& name, std::int64_t size,
              ICacheIO& cache, _FS_FILE_V2& file,
              const std::shared_ptr<_FS_HANDLE>& handle = fakes::make_handle()) {
  file = {};
  file.name = name;
  file.size = size;
  return session->Upload(folder, handle, &cache, &file, UPLOAD_FLAG_NONE, nullptr);
}

AERROR upload(const Session& session, const char* folder, const std::string& name, const std::string& bytes) {
  CacheSource cache{bytes};
  _FS_FILE_V2 file;
  return upload(session, folder, name, static_cast<std::int64_t>(bytes.size()), cache, file);
}

class LiveUpload : public live::OnFtpServer {};

TEST_P(LiveUpload, StoresFilesOfEverySizeByteForByte) {
  server_.add_folder("in");
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  const std::size_t logins = session.log().lines_with("] USER ").size();
  for (const std::size_t size : {0UL, 1UL, 65'535UL, 65'536UL, 65'537UL, 3'000'000UL}) {
    const std::string bytes = some_bytes(size, static_cast<unsigned>(size));
    const std::string name = std::to_string(size) + ".bin";
    const std::time_t before = std::time(nullptr);
    CacheSource cache{bytes};
    _FS_FILE_V2 file;
    const auto handle = fakes::make_handle();
    ASSERT_EQ(upload(session, "/in", name, static_cast<std::int64_t>(size), cache, file, handle), SUCCESS)
        << session.transcript() << server_.log();
    EXPECT_TRUE(bytes_of(server_.folder() / "in" / name) == bytes) << size;
    EXPECT_EQ(file.id, "/in/" + name);
    EXPECT_EQ(file.attr, FS_ATTR_FILE);
    EXPECT_EQ(file.size, static_cast<std::int64_t>(size));
    EXPECT_THAT(file.modify_time, AllOf(Ge(time_text(before - 1)), Le(time_text(std::time(nullptr) + 1))));
    EXPECT_EQ(handle->position, static_cast<std::int64_t>(size));
  }
  EXPECT_THAT(session.log().lines_with("] USER "), SizeIs(logins)) << "one login for all";
}

TEST_P(LiveUpload, ReplacesALongerFile) {
  server_.add_file("a.txt", some_bytes(100'000));
  const Session session{server_};
  EXPECT_EQ(upload(session, "", "a.txt", "short"), SUCCESS) << session.transcript();
  EXPECT_EQ(bytes_of(server_.folder() / "a.txt"), "short");
}

TEST_P(LiveUpload, KeepsAwkwardNames) {
  const std::vector<std::string> names = {
      "#hash", "100%",  "a b  c",    "a%20b",  "a&b=c", "a;b",          "a[1]",
      "a{2}",  "star*", "quote\"s'", "tilde~", "-dash", "Überraschung", "\xE6\x97\xA5\xE6\x9C\xAC"};
  const Session session{server_};
  for (const std::string& folder : {std::string{"plain"}, std::string{"a b#%[2]\xC3\xA9"}}) {
    server_.add_folder(folder);
    for (const std::string& name : names) {
      EXPECT_EQ(upload(session, folder.c_str(), name, name), SUCCESS) << name << session.transcript();
    }
    std::vector<std::string> stored;
    for (const auto& entry : fs::directory_iterator{server_.folder() / folder}) {
      stored.push_back(entry.path().filename().string());
      EXPECT_EQ(bytes_of(entry.path()), stored.back());
    }
    EXPECT_THAT(stored, testing::UnorderedElementsAreArray(names));
  }
}

TEST_P(LiveUpload, AFolderThatIsNotThereIsDenied) {
  const Session session{server_};
  EXPECT_EQ(upload(session, "/missing", "a.txt", "hello"), ACCESS_DENIED) << session.transcript();
  EXPECT_FALSE(fs::exists(server_.folder() / "missing"));
  EXPECT_EQ(upload(session, "", "a.txt", "hello"), SUCCESS) << "the next one logs in again";
}

TEST_P(LiveUpload, WhereTheServerMayNotWriteFails) {
  const fs::path locked = server_.add_folder("locked");
  ASSERT_EQ(chmod(locked.c_str(), 0555), 0);
  const Session session{server_};
  EXPECT_EQ(upload(session, "/locked", "a.txt", "hello"), FILE_WRITE_FAILED) << session.transcript();
  EXPECT_TRUE(fs::is_empty(locked));
  EXPECT_EQ(upload(session, "", "a.txt", "hello"), SUCCESS);
}

TEST_P(LiveUpload, CancelledOnTheWayFailsAndTheNextOneWorks) {
  const Session session{server_};
  const auto handle = fakes::make_handle();
  CacheSource cache{some_bytes(4'000'000), {.cancel_at = 1'000'000}};
  _FS_FILE_V2 file;
  EXPECT_EQ(upload(session, "", "a.bin", 4'000'000, cache, file, handle), FILE_WRITE_FAILED);
  EXPECT_EQ(file.id, "");
  EXPECT_EQ(upload(session, "", "a.bin", "whole"), SUCCESS) << session.transcript();
  EXPECT_EQ(bytes_of(server_.folder() / "a.bin"), "whole");
}

TEST_P(LiveUpload, ACacheThatStopsEarlyFails) {
  const Session session{server_};
  CacheSource cache{some_bytes(200'000), {.end_at = 100'000}};
  _FS_FILE_V2 file;
  EXPECT_EQ(upload(session, "", "a.bin", 200'000, cache, file), FILE_WRITE_FAILED);
  EXPECT_THAT(session.transcript(), HasSubstr("Upload id: [a.bin] , exec error: [18]"));
}

TEST_P(LiveUpload, ManyAtOnceAreAllWhole) {
  constexpr unsigned kThreads = 4;
  constexpr unsigned kFiles = 5;
  const Session session{server_};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    server_.add_folder(std::to_string(t));
    threads.emplace_back([&session, t] {
      for (unsigned n = 0; n < kFiles; ++n) {
        EXPECT_EQ(
            upload(session, std::to_string(t).c_str(), std::to_string(n), some_bytes(100'000, 10 * t + n)),
            SUCCESS);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (unsigned t = 0; t < kThreads; ++t) {
    for (unsigned n = 0; n < kFiles; ++n) {
      EXPECT_TRUE(bytes_of(server_.folder() / std::to_string(t) / std::to_string(n)) ==
                  some_bytes(100'000, 10 * t + n));
    }
  }
}

TEST(LiveUploadToPureFtpd, IsNoSuccessWhenTheServerChoseAnotherName) {
  Daemon server = servers::start_pure_ftpd({});
  const Session session{server};
  EXPECT_EQ(upload(session, "", " leading blank", "hello"), FAILED) << session.transcript();
  EXPECT_EQ(bytes_of(server.folder() / "_leading blank"), "hello") << "which is what this server does";
}

INSTANTIATE_TEST_SUITE_P(, LiveUpload, testing::ValuesIn(servers::directly_reached_ftp_servers()),
                         [](auto& row) { return row.param.label; });

// Over TLS 1.3 libcurl offers a session ticket that is used up, and a server that demands the session of the
// control connection refuses most of the data connections: hence the bound of the login.
class LiveUploadsInARow : public LiveUpload {};

TEST_P(LiveUploadsInARow, AreAllWholeWhereTheServerDemandsTheSessionOnDataConnections) {
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  for (unsigned n = 0; n < 50; ++n) {
    const std::string name = std::to_string(n);
    ASSERT_EQ(upload(session, "", name, some_bytes(20'000, n)), SUCCESS)
        << session.transcript() << server_.log();
  }
  for (unsigned n = 0; n < 50; ++n) {
    EXPECT_TRUE(bytes_of(server_.folder() / std::to_string(n)) == some_bytes(20'000, n)) << n;
  }
  EXPECT_THAT(session.log().lines_with("] STOR "), SizeIs(50)) << "none was tried twice";
}

INSTANTIATE_TEST_SUITE_P(
    , LiveUploadsInARow,
    testing::Values(Server{"ProFtpdExplicitTls", servers::start_proftpd, {.tls = Tls::kExplicit}, true},
                    Server{"ProFtpdImplicitTls", servers::start_proftpd, {.tls = Tls::kImplicit}, true},
                    Server{"VsftpdExplicitTls", servers::start_vsftpd, {.tls = Tls::kExplicit}, false},
                    Server{"VsftpdImplicitTls", servers::start_vsftpd, {.tls = Tls::kImplicit}, false}),
    [](auto& row) { return row.param.label; });

/// A file that is nowhere: each aligned eight bytes are made of where they stand.
class EndlessCache final : public ICacheIO {
 public:
  static void fill(char* to, std::uint64_t offset, std::size_t count) {
    for (std::size_t n = 0; n < count; n += sizeof(std::uint64_t)) {
      const std::uint64_t word = (offset + n + 1) * 0x9E3779B97F4A7C15U;
      std::memcpy(to + n, &word, sizeof word);
    }
  }
  int ReadBlock(CACHE_READ_REQUEST* request) override {
    const auto offset = static_cast<std::uint64_t>(request->offset);
    request->done = std::min(request->length, request->file_size - offset);
    fill(static_cast<char*>(request->buffer), offset, request->done);
    return 0;
  }
};

TEST(LiveUploadOfAGibibyte, ArrivesWhole) {
  constexpr std::uint64_t kSize = 1ULL << 30;
  constexpr std::size_t kPiece = 1U << 20;
  Daemon server = servers::start_proftpd({});
  const Session session{server};
  EndlessCache cache;
  _FS_FILE_V2 file;
  const auto handle = fakes::make_handle();
  ASSERT_EQ(upload(session, "", "big.bin", static_cast<std::int64_t>(kSize), cache, file, handle), SUCCESS);
  EXPECT_EQ(file.size, static_cast<std::int64_t>(kSize));
  EXPECT_EQ(handle->position, static_cast<std::int64_t>(kSize));

  std::ifstream stored{server.folder() / "big.bin", std::ios::binary};
  std::vector<char> got(kPiece);
  std::vector<char> want(kPiece);
  for (std::uint64_t offset = 0; offset < kSize; offset += kPiece) {
    ASSERT_TRUE(stored.read(got.data(), static_cast<std::streamsize>(kPiece))) << offset;
    EndlessCache::fill(want.data(), offset, kPiece);
    ASSERT_TRUE(got == want) << offset;
  }
  EXPECT_EQ(stored.peek(), std::ifstream::traits_type::eof());
}

}  // namespace
