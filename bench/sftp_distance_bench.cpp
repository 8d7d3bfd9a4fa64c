// SFTP over a line of 50 ms round-trip time: 16 MiB down and up with the built plug-in and with OpenSSH's own
// client, by turns through the same relay to the same server, everybody logged in beforehand; then how many
// bytes a ranged read brings in for the bytes it asks for. The plug-in's upload ends with a look at the
// stored file, which OpenSSH's does not take; what a look alone takes is measured, too, and left out of the
// way up. Exit code 1 when a way, or both together with the look, takes longer than 1.1 times OpenSSH's, or a
// ranged read receives more than 1.3 times what it asked for.
//
// usage: sftp_distance_bench [turns, 3]

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"
#include "tests/fakes/relay.h"
#include "tests/servers/sshd.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kOneWay = 25ms;
constexpr std::size_t kFileSize = 16 * 1024 * 1024;
constexpr double kMostOfOpenSsh = 1.1;
constexpr double kMostOfRange = 1.3;

double seconds(const std::function<void()>& run) {
  const auto start = Clock::now();
  run();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void demand(bool holds, const char* what) {
  if (!holds) throw std::runtime_error{what};
}

std::string bytes_of(const std::filesystem::path& file) {
  std::ifstream in{file, std::ios::binary};
  return {std::istreambuf_iterator<char>{in}, {}};
}

/// Gone with the scope.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "sftp-bench-XXXXXX").string();
    demand(mkdtemp(name.data()) != nullptr, "no temporary folder");
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

/// OpenSSH's client, logged in and waiting for commands.
class SftpClient {
 public:
  SftpClient(const servers::Sshd& server, std::uint16_t port) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    demand(pipe(in.data()) == 0 && pipe(out.data()) == 0, "pipe");
    std::vector<std::string> arguments = {"sftp",
                                          "-q",
                                          "-o",
                                          "StrictHostKeyChecking=no",
                                          "-o",
                                          "UserKnownHostsFile=/dev/null",
                                          "-o",
                                          "BatchMode=yes",
                                          "-o",
                                          "IdentitiesOnly=yes",
                                          "-i",
                                          server.key_file("ed25519"),
                                          "-P",
                                          std::to_string(port),
                                          "-b",
                                          "-",
                                          server.user() + "@127.0.0.1"};
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    for (const int fd : {in[0], in[1], out[0], out[1]}) posix_spawn_file_actions_addclose(&actions, fd);
    const int code = posix_spawnp(&child_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    to_ = in[1];
    from_ = fdopen(out[0], "r");
    demand(code == 0 && from_ != nullptr, "sftp cannot be started: is openssh-client installed?");
  }
  SftpClient(const SftpClient&) = delete;
  SftpClient& operator=(const SftpClient&) = delete;
  ~SftpClient() {
    close(to_);
    fclose(from_);
    waitpid(child_, nullptr, 0);
  }

  /// Runs one command to its end. ("pwd" is answered without asking the server, once it is its turn.)
  void run(const std::string& command) {
    const std::string text = command + "\npwd\n";
    demand(write(to_, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "sftp has ended");
    std::array<char, 4096> line{};
    while (fgets(line.data(), line.size(), from_) != nullptr) {
      if (std::string{line.data()}.starts_with("Remote working directory")) return;
    }
    throw std::runtime_error{"sftp has ended in: " + command};
  }

 private:
  pid_t child_ = -1;
  int to_ = -1;
  FILE* from_ = nullptr;
};

/// One line of the table. Returns the plug-in's time for one second of OpenSSH's.
double report(const char* what, double open_ssh, double plug_in) {
  const double ratio = plug_in / open_ssh;
  std::printf("%-14s %12.2f %12.2f %8.2f\n", what, open_ssh, plug_in, ratio);
  return ratio;
}

/// Bytes from the server for one read, those included that arrive after it has ended.
std::size_t received(const fakes::Relay& relay, const std::function<void()>& read) {
  const std::size_t before = relay.from_server();
  read();
  std::size_t now = relay.from_server();
  for (std::size_t seen = 0; seen != now;) {
    seen = now;
    std::this_thread::sleep_for(6 * kOneWay);
    now = relay.from_server();
  }
  return now - before;
}

bool bench(int turns) {
  servers::Sshd server;
  std::string content(kFileSize, '\0');
  std::uint32_t state = 1;
  for (char& byte : content) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  const auto file = server.home() / "file";
  std::ofstream{file, std::ios::binary} << content;
  server.hand_over();
  const TemporaryFolder folder;
  const auto copy = folder.path() / "copy";

  const fakes::Relay relay{server.host(), server.port(), {.delay = kOneWay}};
  const std::string url = "sftp://127.0.0.1:" + std::to_string(relay.port()) + server.home().string();
  fakes::ScopedProtocol protocol;
  demand(protocol->Connect(nullptr, fakes::login_document(url, server.user(), server.password()).c_str()) ==
             SUCCESS,
         "Connect");
  _FS_FILE_V2 record;
  demand(protocol->GetFileInfo("/file", &record, nullptr) == SUCCESS, "GetFileInfo");
  SftpClient client{server, relay.port()};
  client.run("lpwd");  // returns once it has logged in

  const auto read = [&](long long offset, long long length, fakes::FetchSink& sink) {
    demand(protocol->Read("/file", offset, length, nullptr, &sink, nullptr) == SUCCESS, "Read");
  };
  double best[5] = {1e9, 1e9, 1e9, 1e9, 1e9};
  for (int turn = 0; turn < turns; ++turn) {
    const auto least = [&](int which, const std::function<void()>& run) {
      best[which] = std::min(best[which], seconds(run));
    };
    least(0, [&] { client.run("get file " + copy.string()); });
    demand(bytes_of(copy) == content, "get brought other bytes");
    fakes::FetchSink sink;
    least(1, [&] { read(0, kFileSize, sink); });
    demand(sink.bytes() == content, "Read brought other bytes");
    least(2, [&] { client.run("put " + copy.string() + " put"); });
    demand(bytes_of(server.home() / "put") == content, "put stored other bytes");
    fakes::CacheSource cache{content};
    record.name = "uploaded";
    record.size = kFileSize;
    least(3, [&] {
      demand(protocol->Upload("", nullptr, &cache, &record, UPLOAD_FLAG_NONE, nullptr) == SUCCESS, "Upload");
    });
    demand(bytes_of(server.home() / "uploaded") == content, "Upload stored other bytes");
    least(4, [&] { demand(protocol->GetFileInfo("/uploaded", &record, nullptr) == SUCCESS, "GetFileInfo"); });
  }
  std::printf("16 MiB at %lld ms round trip, best of %d turns\n",
              static_cast<long long>((2 * kOneWay).count()), turns);
  std::printf("%-14s %12s %12s %8s\n", "", "OpenSSH [s]", "plug-in [s]", "ratio");
  bool good = report("down", best[0], best[1]) <= kMostOfOpenSsh;
  good = report("up", best[2], best[3] - best[4]) <= kMostOfOpenSsh && good;
  report("up and look", best[2], best[3]);
  good = report("both and look", best[0] + best[2], best[1] + best[3]) <= kMostOfOpenSsh && good;

  std::printf("\n%-14s %12s %12s %8s\n", "range", "asked [KiB]", "recv [KiB]", "ratio");
  for (const long long length : {64 * 1024, 1024 * 1024}) {
    fakes::FetchSink sink;
    const std::size_t bytes = received(relay, [&] { read(1000, length, sink); });
    demand(sink.bytes() == content.substr(1000, static_cast<std::size_t>(length)),
           "Read brought other bytes");
    const double ratio = static_cast<double>(bytes) / static_cast<double>(length);
    std::printf("%-14s %12lld %12zu %8.2f\n", "", length / 1024, bytes / 1024, ratio);
    good = good && ratio <= kMostOfRange;
  }
  return good;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const int turns = count > 1 ? std::max(1, std::atoi(arguments[1])) : 3;
    if (bench(turns)) return 0;
    std::fprintf(stderr, "a limit is broken: %.1f times OpenSSH, %.1f times the range\n", kMostOfOpenSsh,
                 kMostOfRange);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "sftp_distance_bench: %s\n", error.what());
  }
  return 1;
}
