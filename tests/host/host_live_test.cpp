// The command-line host against real servers: a second sync transfers nothing, whatever the server can do
// with times, and a sync that is killed at any moment is made good by the next one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/remote/documents.h"
#include "tests/servers/daemons.h"

namespace {

namespace fs = std::filesystem;
using servers::Daemon;
using servers::DaemonOptions;
using servers::Tls;

struct Server {
  const char* label;
  const char* scheme;
  std::function<Daemon()> start;
  bool hides_dots = false;  ///< names with a leading dot are not listed
  bool takes_times = true;  ///< MFMT
};
void PrintTo(const Server& server, std::ostream* out) { *out << server.label; }

// Without MLSD and MFMT times are rounded in the server's zone, and uploads are as old as their transfer.
const Server kServers[] = {
    {"ProFtpd", "ftp", [] { return servers::start_proftpd(); }},
    {"ProFtpdExplicitTls", "ftps", [] { return servers::start_proftpd({.tls = Tls::kExplicit}); }},
    {"ProFtpdListOnlyFarAway", "ftp",
     [] { return servers::start_proftpd({.machine_listing = false, .time_zone = "America/New_York"}); }, true,
     false},
    {"ProFtpdWithoutUtf8", "ftp", [] { return servers::start_proftpd({.utf8 = false}); }},
    {"Vsftpd", "ftp", [] { return servers::start_vsftpd(); }, false, false},
    {"VsftpdExplicitTls", "ftps", [] { return servers::start_vsftpd({.tls = Tls::kExplicit}); }, false,
     false},
    {"VsftpdFarAway", "ftp", [] { return servers::start_vsftpd({.time_zone = "Asia/Kolkata"}); }, false,
     false},
    {"PureFtpd", "ftp", [] { return servers::start_pure_ftpd(); }},
    {"ProFtpdSftp", "sftp", [] { return servers::start_proftpd_sftp(); }, false, false},
};
const Server& server_named(const std::string& label) {
  return *std::find_if(std::begin(kServers), std::end(kServers),
                       [&](const Server& one) { return one.label == label; });
}

/// Every path below `folder`: of files size, a hash of the bytes and whole seconds; directories end in "/".
std::map<std::string, std::string> tree_of(const fs::path& folder, bool times) {
  std::map<std::string, std::string> tree;
  for (const auto& item : fs::recursive_directory_iterator{folder}) {
    const std::string path = item.path().lexically_relative(folder).string();
    if (item.is_directory()) {
      tree[path + "/"];
      continue;
    }
    std::stringstream bytes;
    bytes << std::ifstream{item.path(), std::ios::binary}.rdbuf();
    struct stat status {};
    ::stat(item.path().c_str(), &status);
    tree[path] = std::to_string(status.st_size) + " " +
                 std::to_string(std::hash<std::string>{}(bytes.str())) + " " +
                 (times ? std::to_string(status.st_mtim.tv_sec) : "");
  }
  return tree;
}

/// The URL of what `server` serves, without a slash at its end.
std::string url_of(const Daemon& server, const std::string& scheme) {
  const bool bracketed = server.host().find(':') != std::string::npos;
  const std::string host = bracketed ? "[" + server.host() + "]" : server.host();
  const std::string url = scheme + "://" + server.user() + "@" + host + ":" + std::to_string(server.port());
  if (server.remote_root().empty()) return url;
  // A path behind a second slash is absolute on an FTP server, and not one of the login directory.
  return url + (scheme == "sftp" ? "" : "/") + server.remote_root();
}

/// Runs the program by the shell, with nothing on the terminal; its exit code.
int run_quietly(const std::string& arguments) {
  const int status = std::system((std::string{FTP_HOST} + " " + arguments + " >/dev/null 2>&1").c_str());
  return WEXITSTATUS(status);
}

class HostOnServers : public testing::TestWithParam<Server> {
 protected:
  HostOnServers() : server_{GetParam().start()} {
    std::string path = (fs::temp_directory_path() / "ftp-host-live-XXXXXX").string();
    folder_ = mkdtemp(path.data());
    setenv("FTP_PASSWORD", server_.password().c_str(), 1);
    // For the leak checker, if there is one, as in tests/leak_checker.cpp.
    setenv("LSAN_OPTIONS", "use_tls=0:print_suppressions=0", 1);
    url_ = url_of(server_, GetParam().scheme);
  }
  ~HostOnServers() override { fs::remove_all(folder_); }

  pid_t spawn(const std::vector<std::string>& arguments, const fs::path& output) const {
    std::vector<std::string> words{FTP_HOST};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(file, STDOUT_FILENO);
      execv(pointers[0], pointers.data());
      _exit(127);
    }
    return child;
  }

  static int wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  Json::Value sync(const std::string& source, const std::string& target, std::vector<std::string> more = {}) {
    const fs::path output = folder_ / "output";
    more.insert(more.begin(), {"--json", "sync", source, target});
    EXPECT_EQ(wait_for(spawn(more, output)), 0) << server_.log();
    std::stringstream text;
    text << std::ifstream{output}.rdbuf();
    return ftp_host::parse_json(text.str(), "output");
  }

  void write(const fs::path& path, std::size_t size, std::time_t time) {
    fs::create_directories(path.parent_path());
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    std::ofstream{path, std::ios::binary} << bytes;
    const timespec times[2] = {{time, 0}, {time, 0}};
    if (time != 0) utimensat(AT_FDCWD, path.c_str(), times, 0);
  }

  Daemon server_;
  fs::path folder_;
  std::string url_;
  std::mt19937 random_{testing::UnitTest::GetInstance()->random_seed() == 0
                           ? 1u
                           : static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed())};
};

TEST_P(HostOnServers, ASecondSyncTransfersNothing) {
  const fs::path source = folder_ / "source";
  write(source / "one", 1, 1704067200);                  // winter
  write(source / "a" / "half year", 65537, 1719792000);  // summer
  write(source / "a" / "b" / "old", 300000, 1000000000);
  write(source / "a" / "b" / "fresh", 10, std::time(nullptr));
  write(source / "a" / ".hidden", 10, 1704067200);
  write(source / ".config" / "caf\xC3\xA9", 10, 1704067200);
  write(source / "empty", 0, 1704067200);
  const fs::path down = folder_ / "down";
  fs::create_directory(down);

  EXPECT_EQ(sync(source, url_ + "/up")["copied"].asInt(), 7);
  EXPECT_EQ(sync(source, url_ + "/up", {"--delete"})["actions"].size(), 0u);
  EXPECT_EQ(tree_of(server_.folder() / "up", false), tree_of(source, false));

  // What a server hides cannot be downloaded.
  const Json::Value first = sync(url_ + "/up", down);
  EXPECT_EQ(first["copied"].asInt(), GetParam().hides_dots ? 5 : 7);
  EXPECT_EQ(sync(url_ + "/up", down, {"--delete"})["actions"].size(), 0u);
  if (!GetParam().hides_dots) {
    EXPECT_EQ(tree_of(down, true), tree_of(server_.folder() / "up", true));
  }
}

TEST_P(HostOnServers, ASyncSeesAChangeOfTheSameSize) {
  const fs::path source = folder_ / "source";
  write(source / "f", 1000, 1704067200);
  sync(source, url_ + "/up");
  write(source / "f", 1000, std::time(nullptr) + 2);
  EXPECT_EQ(sync(source, url_ + "/up")["copied"].asInt(), 1);
  EXPECT_EQ(tree_of(server_.folder() / "up", false), tree_of(source, false));
}

TEST_P(HostOnServers, ASecondSyncTransfersNoLinkAgain) {
  server_.add_file("links/f", "hello", 1600000000);
  server_.add_file("links/d/g", "hello", 1600000000);
  fs::create_symlink("f", server_.folder() / "links" / "a longer name");
  fs::create_symlink("..", server_.folder() / "links" / "d" / "up");
  const fs::path down = folder_ / "down";
  EXPECT_EQ(sync(url_ + "/links", down)["copied"].asInt(), 3);
  EXPECT_EQ(sync(url_ + "/links", down, {"--delete"})["actions"].size(), 0u);
  std::ifstream copy{down / "a longer name"};
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>{copy}, {}), "hello");
}

TEST_P(HostOnServers, DeleteSparesWhatLiesInADirectoryThatCannotBeRead) {
  // It can be entered, and some servers then list nothing and call that a success.
  server_.add_file("top/closed/f", "hello", 1600000000);
  const fs::path down = folder_ / "down";
  EXPECT_EQ(sync(url_ + "/top", down)["copied"].asInt(), 1);
  write(down / "extra", 10, 1600000000);
  ASSERT_EQ(chmod((server_.folder() / "top" / "closed").c_str(), 0311), 0);
  EXPECT_EQ(wait_for(spawn({"sync", "--delete", url_ + "/top", down}, folder_ / "output")), 1);
  EXPECT_TRUE(fs::exists(down / "closed" / "f"));
  EXPECT_TRUE(fs::exists(down / "extra"));
}

TEST_P(HostOnServers, PutGetMoveAndRemoveWork) {
  write(folder_ / "f", 100000, 1704067200);
  const fs::path output = folder_ / "output";
  const auto run = [&](const std::vector<std::string>& arguments) {
    return wait_for(spawn(arguments, output));
  };
  EXPECT_EQ(run({"mkdir", "-p", url_ + "/x/y"}), 0);
  EXPECT_EQ(run({"put", folder_ / "f", url_ + "/x/y/"}), 0);
  EXPECT_EQ(run({"put", folder_ / "f", url_ + "/x/y/"}), 0) << "over the file that is there";
  EXPECT_EQ(run({"mv", url_ + "/x/y/f", url_ + "/x/g"}), 0);
  EXPECT_EQ(run({"stat", url_ + "/x/y/f"}), 5);
  EXPECT_EQ(run({"get", url_ + "/x/g", folder_ / "back"}), 0);
  EXPECT_EQ(run({"rmdir", url_ + "/x/y"}), 0);
  EXPECT_EQ(run({"rm", "-r", url_ + "/x"}), 0);
  EXPECT_FALSE(fs::exists(server_.folder() / "x"));
  std::ifstream sent{folder_ / "f"}, back{folder_ / "back"};
  EXPECT_TRUE(std::equal(std::istreambuf_iterator<char>{sent}, {}, std::istreambuf_iterator<char>{back}, {}));
}

INSTANTIATE_TEST_SUITE_P(, HostOnServers, testing::ValuesIn(kServers),
                         [](const auto& row) { return row.param.label; });

TEST(HostOnAListingThatHangs, EndsWithTheTimeLimit) {
  // A listing that begins with "total N" keeps the plug-in in its search for another header for ever.
  Daemon server = servers::start_inetutils_ftpd();
  server.add_file("f", "hello");
  setenv("FTP_PASSWORD", server.password().c_str(), 1);
  EXPECT_EQ(run_quietly("--timeout 2 ls '" + url_of(server, "ftp") + "'"), 124);
}

TEST(HostThroughAProxy, LogsInWithTheProxysPassword) {
  const Daemon server = servers::start_proftpd();
  const Daemon proxy = servers::start_microsocks(true);
  setenv("FTP_PASSWORD", server.password().c_str(), 1);
  const auto list = [&](const std::string& password) {
    setenv("FTP_PROXY_PASSWORD", password.c_str(), 1);
    const std::string by =
        "socks5://" + proxy.user() + "@" + proxy.host() + ":" + std::to_string(proxy.port());
    return run_quietly("--proxy '" + by + "' ls '" + url_of(server, "ftp") + "'");
  };
  EXPECT_EQ(list(proxy.password()), 0);
  EXPECT_NE(list("wrong"), 0);
  unsetenv("FTP_PROXY_PASSWORD");
}

class KilledSync : public HostOnServers {
 protected:
  /// One server that takes times and one that takes none run the whole number, the others fewer.
  static bool fifty() {
    return std::string{GetParam().label} == "ProFtpd" || std::string{GetParam().label} == "Vsftpd";
  }

  /// New content, another tree: some files change, some go.
  void change(const fs::path& folder, bool any_time) {
    for (int i = 0; i < 8; ++i) {
      const std::size_t sizes[] = {0, 1, 70000, 400000};
      const fs::path at = folder / ("d" + std::to_string(random_() % 3));
      write(at / ("f" + std::to_string(random_() % 12)), sizes[random_() % 4],
            any_time ? static_cast<std::time_t>(1'000'000'000 + random_() % 700'000'000) : 0);
    }
    if (random_() % 3 == 0) fs::remove_all(folder / ("d" + std::to_string(random_() % 3)));
  }

  void kill_and_repeat(const std::string& source, const std::string& target, const fs::path& from,
                       const fs::path& to, bool times) {
    using Clock = std::chrono::steady_clock;
    std::chrono::duration<double> whole{0.3};
    int killed = 0;
    const int turns = fifty() ? 50 : 15;
    for (int turn = 0; turn < turns; ++turn) {
      // Without times on the server an older file cannot be told from what was there; an edited one can.
      change(from, times);
      server_.hand_over();
      const Clock::time_point begin = Clock::now();
      const pid_t child = spawn({"--quiet", "sync", "--delete", source, target}, "/dev/null");
      const auto moment = begin + std::chrono::duration_cast<Clock::duration>(
                                      whole * std::uniform_real_distribution<>{0, 1}(random_));
      int status = 0;
      while (waitpid(child, &status, WNOHANG) == 0) {
        if (Clock::now() >= moment) {
          kill(child, SIGKILL);
          waitpid(child, &status, 0);
          ++killed;
          break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
      }
      if (WIFEXITED(status)) whole = Clock::now() - begin;
      sync(source, target, {"--delete"});
      ASSERT_EQ(tree_of(to, times), tree_of(from, times)) << "turn " << turn;
    }
    EXPECT_GT(killed, turns / 5);
  }
};

TEST_P(KilledSync, AnUploadKilledAtRandomMomentsEndsInEqualTrees) {
  const fs::path local = folder_ / "local";
  const fs::path remote = server_.add_folder("up");
  fs::create_directory(local);
  kill_and_repeat(local, url_ + "/up", local, remote, GetParam().takes_times);
}

TEST_P(KilledSync, ADownloadKilledAtRandomMomentsEndsInEqualTrees) {
  const fs::path local = folder_ / "local";
  const fs::path remote = server_.add_folder("down");
  fs::create_directory(local);
  kill_and_repeat(url_ + "/down", local, remote, local, true);
}

INSTANTIATE_TEST_SUITE_P(, KilledSync,
                         testing::Values(server_named("ProFtpd"), server_named("Vsftpd"),
                                         server_named("PureFtpd"), server_named("ProFtpdSftp")),
                         [](const auto& row) { return row.param.label; });

}  // namespace
