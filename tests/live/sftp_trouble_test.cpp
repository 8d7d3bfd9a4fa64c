// The plug-in's operations on an SFTP server that has hung up meanwhile, changes its keys often, or changes
// what it is just listing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"
#include "tests/fakes/relay.h"
#include "tests/servers/disk.h"
#include "tests/servers/sshd.h"

// Of the address sanitizer; null without it.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using fakes::some_bytes;
using servers::bytes_of;
using servers::Sshd;
using testing::IsEmpty;

void add_file(const Sshd& server, const std::string& name, const std::string& bytes) {
  servers::write_file(server.home() / name, bytes);
  server.hand_over();
}

/// One login with the user's home as the root.
struct Client {
  explicit Client(const Sshd& server) : Client{server, server.port()} {}
  Client(const Sshd& server, std::uint16_t port) {
    const std::string url = "sftp://127.0.0.1:" + std::to_string(port) + server.home().string();
    result = protocol->Connect(nullptr, fakes::login_document(url, server.user(), server.password()).c_str());
  }

  [[nodiscard]] AERROR look_up(const std::string& path) const {
    _FS_FILE_V2 file;
    return protocol->GetFileInfo(path.c_str(), &file, nullptr);
  }

  [[nodiscard]] AERROR upload(const std::string& name, const std::string& bytes) const {
    fakes::CacheSource cache{bytes};
    _FS_FILE_V2 file;
    file.name = name;
    file.size = static_cast<std::int64_t>(bytes.size());
    return protocol->Upload("", fakes::make_handle(), &cache, &file, UPLOAD_FLAG_NONE, nullptr);
  }

  fakes::Logger log;
  fakes::ScopedLogger bound{log};
  fakes::ScopedProtocol protocol;
  AERROR result = FAILED;
};

struct Request {
  const char* label;
  AERROR (*run)(const Client& client);
};

void PrintTo(const Request& request, std::ostream* out) { *out << request.label; }

constexpr Request kRequests[] = {
    {"Listing",
     [](const Client& client) {
       fakes::FileList list;
       return client.protocol->GetFileList("", &list, nullptr);
     }},
    {"Information", [](const Client& client) { return client.look_up("/f"); }},
    {"Read",
     [](const Client& client) {
       fakes::FetchSink sink;
       const AERROR code = client.protocol->Read("/f", 0, 5, fakes::make_handle(), &sink, nullptr);
       return code == SUCCESS && sink.bytes() != "hello" ? FAILED : code;
     }},
    {"Upload", [](const Client& client) { return client.upload("new", "abc"); }},
    {"Deletion", [](const Client& client) { return client.protocol->Delete("/f", nullptr); }},
    {"Creation",
     [](const Client& client) {
       _FS_FILE_V2 folder;
       folder.name = "new";
       return client.protocol->CreateDirectory("", &folder, nullptr);
     }},
    {"Rename",
     [](const Client& client) {
       _FS_FILE_V2 file;
       file.name = "new";
       return client.protocol->Rename("/f", "", &file, nullptr);
     }},
};

class SftpAfterAPause : public testing::TestWithParam<Request> {};

// The server asks whether anybody is there, gets no answer, since nobody reads, and hangs up: what it asked
// is still unread then.
TEST_P(SftpAfterAPause, FindsTheServerAgainThatGaveUpWaiting) {
  const Sshd server{{.more_settings = "ClientAliveInterval 1\nClientAliveCountMax 1\n"}};
  add_file(server, "f", "hello");
  const Client client{server};
  ASSERT_EQ(client.result, SUCCESS);
  ASSERT_EQ(client.look_up("/f"), SUCCESS);  // its session idles out as well
  const auto deadline = std::chrono::steady_clock::now() + 30s;
  while (server.signal_sessions(0) > 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(20ms);
  }
  ASSERT_EQ(server.signal_sessions(0), 0U);
  EXPECT_EQ(GetParam().run(client), SUCCESS);
  EXPECT_THAT(client.log.lines_with("exec error"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, SftpAfterAPause, testing::ValuesIn(kRequests),
                         [](const auto& row) { return std::string{row.param.label}; });

// A question that the server asks meanwhile is no reason to log in again.
TEST(SftpKeepAlive, KeepsTheLogin) {
  const Sshd server{{.more_settings = "ClientAliveInterval 1\nClientAliveCountMax 100\n"}};
  add_file(server, "f", "hello");
  const fakes::Relay relay{server.host(), server.port()};
  const Client client{server, relay.port()};
  ASSERT_EQ(client.result, SUCCESS);
  ASSERT_EQ(client.look_up("/f"), SUCCESS);
  ASSERT_EQ(server.logins(), 2U) << "libcurl's, and the one that answers what libcurl cannot";
  // Each session is asked once a second, in some fifty bytes. Of four questions none got all.
  const std::size_t before = relay.from_server();
  const auto deadline = std::chrono::steady_clock::now() + 30s;
  while (relay.from_server() < before + 200 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(20ms);
  }
  ASSERT_GE(relay.from_server(), before + 200);
  for (const Request& request : kRequests) {
    if (std::string{request.label} == "Deletion") break;
    EXPECT_EQ(request.run(client), SUCCESS) << request.label;
  }
  EXPECT_EQ(server.logins(), 2U);
}

/// libssh2 1.10 loses fifty bytes with each change of keys, in libcurl's sessions too.
struct LeaksOfLibssh2 {
  LeaksOfLibssh2() {
    if (__lsan_disable != nullptr) __lsan_disable();
  }
  ~LeaksOfLibssh2() {
    if (__lsan_enable != nullptr) __lsan_enable();
  }
};

TEST(SftpKeys, MayBeChangedAtAnyTime) {
  const LeaksOfLibssh2 not_ours;
  const Sshd server{{.more_settings = "RekeyLimit 64K\n"}};
  const std::string bytes = some_bytes(3'000'000, 1);
  add_file(server, "f", bytes);
  fs::create_directory(server.home() / "many");
  constexpr int kCount = 2000;
  for (int n = 0; n < kCount; ++n)
    std::ofstream{server.home() / "many" / ("file number " + std::to_string(n))};
  const Client client{server};
  ASSERT_EQ(client.result, SUCCESS);
  fakes::FileList list;
  EXPECT_EQ(client.protocol->GetFileList("/many", &list, nullptr), SUCCESS);
  EXPECT_EQ(list.files().size(), kCount + 2U);
  fakes::FetchSink sink;
  const auto length = static_cast<long long>(bytes.size());
  EXPECT_EQ(client.protocol->Read("/f", 0, length, fakes::make_handle(), &sink, nullptr), SUCCESS);
  EXPECT_TRUE(sink.bytes() == bytes);
  EXPECT_EQ(client.upload("g", bytes), SUCCESS);
  EXPECT_TRUE(bytes_of(server.home() / "g") == bytes);
}

TEST(SftpFolder, ThatChangesWhileItIsListedLosesNoneOfWhatStays) {
  const Sshd server;
  std::set<std::string> staying;
  for (int n = 0; n < 700; ++n) staying.insert("stays " + std::to_string(n));
  for (const std::string& name : staying) std::ofstream{server.home() / name} << name;
  fs::create_directory(server.home() / "d");
  const Client client{server};
  ASSERT_EQ(client.result, SUCCESS);
  std::atomic<bool> over{false};
  std::thread changes{[&] {
    for (int n = 0; !over; n = (n + 1) % 200) {
      const fs::path file = server.home() / ("comes and goes " + std::to_string(n));
      const fs::path link = server.home() / ("leads -> " + std::to_string(n));
      std::error_code ignored;
      if (!fs::remove(file, ignored)) std::ofstream{file} << "x";
      if (!fs::remove(link, ignored)) fs::create_directory_symlink("d", link, ignored);
    }
  }};
  for (int n = 0; n < 40; ++n) {
    fakes::FileList list;
    EXPECT_EQ(client.protocol->GetFileList("", &list, nullptr), SUCCESS);
    const std::vector<std::string> names = list.names();
    const std::set<std::string> got{names.begin(), names.end()};
    EXPECT_TRUE(std::includes(got.begin(), got.end(), staying.begin(), staying.end()));
    for (const _FS_FILE_V2& each : list.files()) {
      if (staying.contains(each.name)) {
        EXPECT_EQ(each.size, static_cast<std::int64_t>(each.name.size())) << each.name;
      }
    }
  }
  over = true;
  changes.join();
}

std::ptrdiff_t open_descriptors() { return std::distance(fs::directory_iterator{"/proc/self/fd"}, {}); }

/// One thread's share: its own files changed, the common ones looked at. Counts what went wrong.
class Worker {
 public:
  Worker(const Client& client, const Sshd& server, const std::vector<std::string>& contents, int number)
      : client_{client}, server_{server}, contents_{contents}, own_{"own " + std::to_string(number)} {}

  void run(int rounds) {
    for (int n = 0; n < rounds; ++n) {
      list();
      read(n);
      change(n);
    }
  }

  [[nodiscard]] const std::vector<std::string>& wrong() const { return wrong_; }

 private:
  void demand(bool good, const char* what) {
    if (!good) wrong_.push_back(own_ + ": " + what);
  }

  void list() {
    fakes::FileList list;
    demand(client_.protocol->GetFileList("/common", &list, nullptr) == SUCCESS, "listing");
    std::size_t found = 0;
    for (const _FS_FILE_V2& each : list.files()) {
      for (std::size_t n = 0; n < contents_.size(); ++n) {
        if (each.name == std::to_string(n) && each.size == std::ssize(contents_[n])) ++found;
      }
    }
    demand(found == contents_.size(), "entries of the listing");
  }

  void read(int n) {
    const auto file = static_cast<std::size_t>(n) % contents_.size();
    const std::string& content = contents_[file];
    const auto offset = static_cast<std::size_t>(n) * 7919 % (content.size() / 2);
    const auto length = static_cast<std::size_t>(n) * 10'007 % (content.size() / 2) + 1;
    const std::string path = "/common/" + std::to_string(file);
    _FS_FILE_V2 record;
    demand(client_.protocol->GetFileInfo(path.c_str(), &record, nullptr) == SUCCESS, "information");
    demand(record.size == std::ssize(content), "size");
    fakes::FetchSink sink;
    demand(
        client_.protocol->Read(path.c_str(), static_cast<long long>(offset), static_cast<long long>(length),
                               fakes::make_handle(), &sink, nullptr) == SUCCESS,
        "read");
    demand(sink.bytes() == content.substr(offset, length), "bytes of the read");
  }

  void change(int n) {
    const std::string bytes =
        some_bytes(20'000 + static_cast<std::size_t>(n) * 1'000, static_cast<unsigned>(n));
    const std::string other = own_ + " renamed";
    demand(client_.upload(own_, bytes) == SUCCESS, "upload");
    demand(bytes_of(server_.home() / own_) == bytes, "bytes of the upload");
    _FS_FILE_V2 record;
    record.name = other;
    demand(client_.protocol->Rename(("/" + own_).c_str(), "", &record, nullptr) == SUCCESS, "rename");
    demand(record.size == std::ssize(bytes), "size behind the rename");
    demand(!fs::exists(server_.home() / own_) && fs::exists(server_.home() / other), "names on the disk");
    demand(client_.protocol->Delete(("/" + other).c_str(), nullptr) == SUCCESS, "delete");
    demand(!fs::exists(server_.home() / other), "what was deleted");
  }

  const Client& client_;
  const Sshd& server_;
  const std::vector<std::string>& contents_;
  const std::string own_;
  std::vector<std::string> wrong_;
};

TEST(SftpThreads, SixteenMixEveryOperationOnOneObject) {
  constexpr int kThreads = 16;
  constexpr int kRounds = 5;
  const Sshd server;
  std::vector<std::string> contents;
  fs::create_directory(server.home() / "common");
  for (unsigned n = 0; n < 5; ++n) {
    contents.push_back(some_bytes(150'000, n));
    add_file(server, "common/" + std::to_string(n), contents.back());
  }
  const std::ptrdiff_t before = open_descriptors();
  {
    const Client client{server};
    ASSERT_EQ(client.result, SUCCESS);
    std::vector<Worker> workers;
    for (int n = 0; n < kThreads; ++n) workers.emplace_back(client, server, contents, n);
    std::latch begin{kThreads};
    std::vector<std::thread> threads;
    for (Worker& worker : workers) {
      threads.emplace_back([&] {
        begin.arrive_and_wait();
        worker.run(kRounds);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const Worker& worker : workers) EXPECT_THAT(worker.wrong(), IsEmpty());
    EXPECT_THAT(client.log.lines_with("exec error"), IsEmpty());
    // A socket and the two that wake libcurl; the same again for the session that answers what libcurl
    // cannot.
    constexpr int kOfOneConnection = 6;
    EXPECT_LE(open_descriptors(), before + 6 * kOfOneConnection) << "more than six connections are kept";
  }
  EXPECT_LE(open_descriptors(), before);
}

}  // namespace
