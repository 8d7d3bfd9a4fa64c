// Every allocation and every option that can fail fails in turn, in one operation of each kind. Whatever
// fails: the process lives, what is reported as done is done, the object works again afterwards, and nothing
// is left. The address sanitizer's leak check belongs to these tests.
#include "tests/leaks/failures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "boundary/host_bindings.h"
#include "protocol/protocol.h"
#include "tests/fakes/ftp_server.h"

namespace {

using ftp_plugin::Protocol;
using leaks::Failure;

// Host objects that need no memory of their own while something fails.

class Log final : public ILog {
 public:
  void Reserved() override {}
  int IsTracing() override { return 1; }
  void Write(LOGLEVEL, const char* format, va_list arguments) override {
    char line[4096];
    (void)std::vsnprintf(line, sizeof line, format, arguments);
  }
};

class List final : public IFileList {
 public:
  int AddFile(_FS_FILE_V2* file) override {
    if (file->name == "a.txt" && file->size == 11) found = true;
    return 0;
  }
  bool found = false;
};

class Sink final : public IFetchCallback {
 public:
  int Deliver(long long, const char* data, long long length, long long) override {
    whole = length == 11 && std::memcmp(data, "hello world", 11) == 0;
    return 0;
  }
  bool whole = false;
};

class Cache final : public ICacheIO {
 public:
  int ReadBlock(CACHE_READ_REQUEST* request) override {
    constexpr std::uint64_t kSize = 11;
    const auto offset = static_cast<std::uint64_t>(request->offset);
    request->done = std::min(request->length, kSize - offset);
    std::memcpy(request->buffer, &"hello world"[offset], request -> done);
    return 0;
  }
};

std::ptrdiff_t open_files() {
  return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
}

/// One operation: what is needed first, the call itself, and whether what it reported as done is done.
struct Operation {
  std::function<void()> prepare = [] {};
  std::function<AERROR()> run;
  std::function<bool()> is_done = [] { return true; };
};

class EveryFailure : public testing::TestWithParam<Failure::Of> {
 protected:
  static void SetUpTestSuite() {
    static const bool started = (leaks::start(), true);
    (void)started;
  }
  EveryFailure() {
    server.add_file("/docs/a.txt", "hello world");
    server.add_directory("/docs/sub");
    server.accept_only("user", "password");
    EXPECT_TRUE(ftp_plugin::bind_logger(&log));
    protocol = std::make_unique<Owner>();
  }
  ~EveryFailure() override {
    protocol.reset();
    ftp_plugin::unbind_logger();
  }

  AERROR connect() { return (*protocol)->Connect(nullptr, login.c_str()); }

  void run_all(const Operation& operation) {
    ASSERT_EQ(connect(), SUCCESS);
    operation.prepare();
    ASSERT_EQ(operation.run(), SUCCESS);  // what is made once and kept is made now
    std::size_t failures = 0;
    for (std::size_t n = 1;; ++n) {
      operation.prepare();
      AERROR result = SUCCESS;
      bool happened = false;
      {
        const Failure failure{GetParam(), n};
        result = operation.run();
        happened = Failure::happened();
      }
      if (result == SUCCESS) {
        EXPECT_TRUE(operation.is_done()) << n << " was not done";
      }
      if (!happened) break;
      ++failures;
      operation.prepare();
      ASSERT_EQ(operation.run(), SUCCESS) << "behind failure " << n;
    }
    EXPECT_GT(failures, 0u);
    protocol.reset();
    EXPECT_TRUE(server.wait_until_idle()) << "a connection is left";
  }

  // Released like the host does it.
  class Owner {
   public:
    Owner() : protocol_{new Protocol{"ftp", nullptr}} {}
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() { protocol_->Release(); }
    Protocol* operator->() const { return protocol_; }

   private:
    Protocol* protocol_;
  };

  fakes::FtpServer server;
  Log log;
  const std::string login = R"([{"data": [{"url": {"value": ")" + server.url() +
                            R"("}}, {"anonymous": {"value": false}}, {"user": {"value": "user"}},)" +
                            R"({"password": {"value": "password"}}]}])";
  const std::shared_ptr<_FS_HANDLE> handle = std::make_shared<_FS_HANDLE>();
  std::unique_ptr<Owner> protocol;
  _FS_FILE_V2 file;
};

TEST_P(EveryFailure, InAListing) {
  List list;
  run_all({.prepare = [&] { list.found = false; },
           .run = [&] { return (*protocol)->GetFileList("/docs", &list, nullptr); },
           .is_done = [&] { return list.found; }});
}

TEST_P(EveryFailure, InFileInformation) {
  run_all({.prepare = [&] { file = {}; },
           .run = [&] { return (*protocol)->GetFileInfo("/docs/a.txt", &file, nullptr); },
           .is_done = [&] { return file.size == 11 && file.modify_time == "2024-01-02T03:04:05.000Z"; }});
}

TEST_P(EveryFailure, InDirectoryInformation) {
  run_all({.prepare =
               [&] {
                 file = {};
                 file.attr = FS_ATTR_DIRECTORY;
               },
           .run = [&] { return (*protocol)->GetFileInfo("/docs/sub", &file, nullptr); },
           .is_done = [&] { return file.modify_time == "2024-01-02T03:04:05.000Z"; }});
}

TEST_P(EveryFailure, InADownload) {
  Sink sink;
  run_all({.prepare = [&] { sink.whole = false; },
           .run = [&] { return (*protocol)->Read("/docs/a.txt", 0, 11, handle, &sink, nullptr); },
           .is_done = [&] { return sink.whole; }});
}

TEST_P(EveryFailure, InAnUpload) {
  Cache cache;
  run_all(
      {.prepare =
           [&] {
             server.add_file("/docs/new.bin", "another");
             file = {};
             file.name = "new.bin";
             file.size = 11;
           },
       .run = [&] { return (*protocol)->Upload("/docs", handle, &cache, &file, UPLOAD_FLAG_NONE, nullptr); },
       .is_done = [&] { return server.file("/docs/new.bin") == "hello world" && file.size == 11; }});
}

TEST_P(EveryFailure, InCreatingADirectory) {
  int number = 0;
  run_all({.prepare =
               [&] {
                 file = {};
                 file.name = "new" + std::to_string(++number);
               },
           .run = [&] { return (*protocol)->CreateDirectory("/docs", &file, nullptr); },
           .is_done = [&] { return server.count("MKD docs/" + file.name) == 1; }});
}

TEST_P(EveryFailure, InADeletion) {
  run_all({.prepare = [&] { server.add_file("/docs/x", "x"); },
           .run = [&] { return (*protocol)->Delete("/docs/x", nullptr); },
           .is_done = [&] { return server.file("/docs/x") == std::nullopt; }});
}

TEST_P(EveryFailure, InARemovalOfADirectory) {
  run_all({.prepare = [&] { server.add_directory("/docs/x"); },
           .run = [&] { return (*protocol)->DeleteDirectory("/docs/x", nullptr); }});
}

TEST_P(EveryFailure, InAMove) {
  run_all({.prepare =
               [&] {
                 server.add_file("/docs/x", "hello world");
                 server.add_file("/docs/y", "another");
                 file = {};
                 file.name = "y";
                 file.attr = FS_ATTR_FILE;
               },
           .run = [&] { return (*protocol)->Move("/docs/x", "/docs", &file, nullptr); },
           .is_done = [&] { return server.file("/docs/y") == "hello world" && file.size == 11; }});
}

TEST_P(EveryFailure, InSettingATime) {
  std::string first;
  std::string second;
  std::string third;
  run_all({.prepare =
               [&] {
                 first = second = third = "2019-08-07T06:05:04.000Z";
                 file = {};
               },
           .run =
               [&] {
                 return (*protocol)->SetFileTime("/docs/a.txt", std::move(first), std::move(second),
                                                 std::move(third), &file, nullptr);
               },
           .is_done = [&] { return file.modify_time == "2019-08-07T06:05:04.000Z"; }});
}

TEST_P(EveryFailure, InALogin) {
  run_all({.prepare = [&] { protocol = std::make_unique<Owner>(); }, .run = [&] { return connect(); }});
}

TEST_P(EveryFailure, WhileAConnectionIsDropped) {
  for (std::size_t n = 1;; ++n) {
    protocol = std::make_unique<Owner>();
    ASSERT_EQ(connect(), SUCCESS);
    const Failure failure{GetParam(), n};
    EXPECT_EQ((*protocol)->Delete("/docs/none", nullptr), FAILED);
    if (!Failure::happened()) break;
  }
  protocol.reset();
  EXPECT_TRUE(server.wait_until_idle()) << "a connection is left";
}

TEST_P(EveryFailure, WhileTheObjectIsReleased) {
  for (std::size_t n = 1;; ++n) {
    protocol = std::make_unique<Owner>();
    ASSERT_EQ(connect(), SUCCESS);
    const Failure failure{GetParam(), n};
    protocol.reset();
    if (!Failure::happened()) break;
  }
  EXPECT_TRUE(server.wait_until_idle()) << "a connection is left";
}

TEST_P(EveryFailure, LeavesNoFileAndNoBlockBehind) {
  List list;
  const auto all = [&] { (void)(*protocol)->GetFileList("/docs", &list, nullptr); };
  protocol = std::make_unique<Owner>();
  ASSERT_EQ(connect(), SUCCESS);
  all();
  protocol.reset();
  ASSERT_TRUE(server.wait_until_idle());
  const std::ptrdiff_t files = open_files();
  const long blocks = leaks::blocks_of_libcurl();
  for (std::size_t n = 1; n <= 400; ++n) {
    protocol = std::make_unique<Owner>();
    {
      const Failure failure{GetParam(), n};
      if (connect() == SUCCESS) all();
    }
    protocol.reset();
    ASSERT_EQ(leaks::blocks_of_libcurl(), blocks) << n;
  }
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_LE(open_files(), files + 1) << "the server keeps one more port for data";
}

INSTANTIATE_TEST_SUITE_P(, EveryFailure, testing::Values(Failure::Of::kMemory, Failure::Of::kOption),
                         [](auto& row) {
                           return row.param == Failure::Of::kMemory ? "OfMemory" : "OfAnOption";
                         });

}  // namespace
