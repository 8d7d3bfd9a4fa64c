// Reads and uploads on OpenSSH's server: ranges, blocks, speed and distance.
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/fakes/host.h"
#include "tests/fakes/relay.h"
#include "tests/live/sftp_files_fixture.h"

namespace {

using live::DistantSftp;
using live::SftpFiles;
namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::Contains;

TEST_F(SftpFiles, RangesEndWithTheFile) {
  add("f", "0123456789", 1);
  add("empty", "", 1);
  connect();
  struct Case {
    const char* path;
    long long offset;
    long long length;
    AERROR result;
    std::string bytes;
  };
  // One connection for all of them: none may leave anything behind for the next.
  for (const auto& [path, offset, length, result, bytes] : {
           Case{"/f", 0, 10, SUCCESS, "0123456789"},
           Case{"/f", 9, 1, SUCCESS, "9"},
           Case{"/f", 10, 5, SUCCESS, ""},   // from its end on
           Case{"/f", 4, 100, SUCCESS, ""},  // across its end: what is left below a block is not delivered
           Case{"/empty", 0, 5, SUCCESS, ""},
           Case{"/f", 3, 4, SUCCESS, "3456"},
           Case{"/f", 11, 5, FILE_READ_FAILED, ""},
           Case{"/none", 0, 5, FILE_READ_FAILED, ""},
           Case{"/f", 3, 4, SUCCESS, "3456"},
       }) {
    SCOPED_TRACE(std::string{path} + " from " + std::to_string(offset));
    fakes::FetchSink sink;
    EXPECT_EQ(protocol->Read(path, offset, length, nullptr, &sink, nullptr), result);
    EXPECT_EQ(sink.bytes(), bytes);
  }
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] Read id: [/f] , exec error: [36]"));
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] Read id: [/none] , exec error: [78]"));
}

TEST_F(SftpFiles, AnUploadThatIsNotTheWholeFileFails) {
  connect();
  struct Case {
    const char* what;
    std::size_t held;  // by the cache
    std::uint64_t end_at;
    int code;  // 42: the source is left where libcurl asks it for more
  };
  for (const auto& [what, held, end_at, code] :
       {Case{"stops early", 200'000, 100'000, CURLE_PARTIAL_FILE},
        Case{"has nothing", 0, 0, CURLE_PARTIAL_FILE},
        Case{"has more", 300'000, 300'000, CURLE_ABORTED_BY_CALLBACK}}) {
    SCOPED_TRACE(what);
    log.clear();
    fakes::CacheSource cache{std::string(held, 'x'), {.end_at = end_at}};
    _FS_FILE_V2 record;
    record.name = "new.bin";
    record.size = 200'000;
    EXPECT_EQ(protocol->Upload("/", nullptr, &cache, &record, UPLOAD_FLAG{}, nullptr), FILE_WRITE_FAILED);
    EXPECT_THAT(log.operations(),
                Contains("8 [PROTOCOL  ] Upload id: [new.bin] , exec error: [" + std::to_string(code) + "]"));
    EXPECT_EQ(record.attr, 0) << "the record is as it was";
  }
}

TEST_F(SftpFiles, AnUploadOfTheWholeFileIsReadAgain) {
  connect();
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{200'000}}) {
    SCOPED_TRACE(size);
    const std::string bytes(size, 'x');
    fakes::CacheSource cache{bytes, {.block_limit = 65'536}};
    _FS_FILE_V2 record;
    record.name = "new.bin";
    record.size = static_cast<std::int64_t>(size);
    EXPECT_EQ(protocol->Upload("/", nullptr, &cache, &record, UPLOAD_FLAG{}, nullptr), SUCCESS);
    EXPECT_EQ(record.attr, FS_ATTR_FILE);
    EXPECT_EQ(record.size, static_cast<std::int64_t>(size));
    EXPECT_EQ(fs::file_size(server.home() / "new.bin"), size);
  }
}

TEST_F(SftpFiles, ALowSpeedLimitHoldsFromTheBeginningOfARead) {
  constexpr std::size_t kSize = 6'000'000;  // so long that it would be read in the largest buffers
  add("f", std::string(kSize, 'x'), 1);
  connect();
  ASSERT_EQ(protocol->SetOpt("speedlimit", "200000"), SUCCESS);
  const auto handle = std::make_shared<_FS_HANDLE>();
  fakes::FirstBytes sink{handle, 1'000'000};
  EXPECT_EQ(protocol->Read("/f", 0, kSize, handle, &sink, nullptr), READ_CANCELED);
  // At most four seconds' worth comes at once, however far ahead of this process the server is.
  EXPECT_GT(sink.took, 900ms);
}

TEST_F(SftpFiles, ALowSpeedLimitMakesTheBlocksOfAnUploadSmall) {
  connect();
  ASSERT_EQ(protocol->SetOpt("speedlimit", "100000"), SUCCESS);
  fakes::CacheSource cache{std::string(200'000, 'x')};
  file.name = "new.bin";
  file.size = 200'000;
  ASSERT_EQ(protocol->Upload("", nullptr, &cache, &file, UPLOAD_FLAG{}, nullptr), SUCCESS);
  for (const auto& request : cache.requests()) EXPECT_LE(request.length, 100'000U);
}

TEST_F(DistantSftp, ARangeBringsInLittleMoreThanWasAskedFor) {
  const std::string bytes(4 * 1024 * 1024, 'x');
  add("f", bytes, 1);
  connect_from_far();
  for (const std::size_t length : {64U * 1024, 1024U * 1024}) {
    const std::size_t before = relay.from_server();
    fakes::FetchSink sink;
    ASSERT_EQ(protocol->Read("/f", 1000, static_cast<long long>(length), nullptr, &sink, nullptr), SUCCESS);
    EXPECT_EQ(sink.bytes().size(), length);
    // The next request is answered behind whatever is still on the road.
    ASSERT_EQ(protocol->Read("/f", 0, 1, nullptr, &sink, nullptr), SUCCESS);
    EXPECT_LT(relay.from_server() - before, length * 14 / 10 + 3'000);
  }
}

TEST_F(SftpFiles, ALargeReadKeepsManyBuffersInFlight) {
  const fakes::Relay relay{server.host(), server.port(), {.delay = 100ms}};
  const std::string bytes(8 * 1024 * 1024, 'x');
  add("f", bytes, 1);
  connect(relay);
  fakes::FetchSink sink;
  ASSERT_EQ(protocol->Read("/f", 0, static_cast<long long>(bytes.size()), nullptr, &sink, nullptr), SUCCESS);
  EXPECT_EQ(sink.bytes(), bytes);
  EXPECT_GT(relay.most_in_flight(), 256U * 1024) << "libcurl's own buffers put 64 KiB on the road";
}

}  // namespace
