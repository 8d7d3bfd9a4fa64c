#include "tests/servers/daemon_state.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <thread>

extern char** environ;

namespace servers {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// How long a server may take to answer. Only a failing test waits for so long.
constexpr std::chrono::seconds kStartLimit{60};

// From below the range from which the system takes the ports of its own choice.
constexpr std::uint16_t kFirstPort = 21000;
constexpr std::uint16_t kLastPort = 31999;

[[noreturn]] void fail_errno(const std::string& what) {
  throw std::system_error{errno, std::generic_category(), what};
}

bool is_free(std::uint16_t number) {
  for (const int family : {AF_INET, AF_INET6}) {
    const Fd probe{socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (probe.get() < 0) continue;  // a machine without this family
    const int yes = 1;
    setsockopt(probe.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_storage address{};
    socklen_t length = 0;
    if (family == AF_INET) {
      auto& v4 = reinterpret_cast<sockaddr_in&>(address);
      v4.sin_family = AF_INET;
      v4.sin_port = htons(number);
      v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      length = sizeof v4;
    } else {
      setsockopt(probe.get(), IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof yes);
      auto& v6 = reinterpret_cast<sockaddr_in6&>(address);
      v6.sin6_family = AF_INET6;
      v6.sin6_port = htons(number);
      v6.sin6_addr = in6addr_loopback;
      length = sizeof v6;
    }
    if (bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 && errno == EADDRINUSE) {
      return false;
    }
  }
  return true;
}

Port reserve_port() {
  constexpr unsigned kCount = kLastPort - kFirstPort + 1;
  const unsigned start = static_cast<unsigned>(getpid()) * 37U + static_cast<unsigned>(std::rand());
  for (unsigned step = 0; step < kCount; ++step) {
    const auto number = static_cast<std::uint16_t>(kFirstPort + (start + step) % kCount);
    Fd reservation{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    if (reservation.get() < 0) fail_errno("socket");
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const std::string text = "ftp-live-port-" + std::to_string(number);
    std::memcpy(name.sun_path + 1, text.data(), text.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + text.size());
    if (bind(reservation.get(), reinterpret_cast<const sockaddr*>(&name), length) != 0) continue;
    if (is_free(number)) return {number, std::move(reservation)};
  }
  fail("no free port for a server");
}

Fd connect_to(const std::string& host, std::uint16_t port) {
  const bool v6 = host.find(':') != std::string::npos;
  Fd client{socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  if (client.get() < 0) fail_errno("socket");
  sockaddr_in v4_address{};
  v4_address.sin_family = AF_INET;
  v4_address.sin_port = htons(port);
  v4_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sockaddr_in6 v6_address{};
  v6_address.sin6_family = AF_INET6;
  v6_address.sin6_port = htons(port);
  v6_address.sin6_addr = in6addr_loopback;
  const auto* address =
      v6 ? reinterpret_cast<const sockaddr*>(&v6_address) : reinterpret_cast<const sockaddr*>(&v4_address);
  const auto length = static_cast<socklen_t>(v6 ? sizeof v6_address : sizeof v4_address);
  if (connect(client.get(), address, length) != 0) client.reset();
  return client;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

void fail(const std::string& text) { throw std::runtime_error{text}; }

bool is_root() { return geteuid() == 0; }

std::pair<uid_t, gid_t> server_user() {
  if (!is_root()) return {geteuid(), getegid()};
  const passwd* nobody = getpwnam("nobody");
  if (nobody == nullptr) fail("this system has no user nobody");
  return {nobody->pw_uid, nobody->pw_gid};
}

void give_to_server(const fs::path& path) {
  if (!is_root()) return;
  const auto [uid, gid] = server_user();
  if (lchown(path.c_str(), uid, gid) != 0) fail_errno("chown " + path.string());
}

void write_text(const fs::path& path, const std::string& text, fs::perms mode) {
  std::ofstream file{path, std::ios::binary | std::ios::trunc};
  fs::permissions(path, mode);
  file << text;
  if (!file.flush()) fail("cannot write " + path.string());
}

void run(const std::vector<std::string>& command) {
  std::vector<std::string> copy = command;
  std::vector<char*> arguments;
  for (std::string& text : copy) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int code = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (code != 0) throw std::system_error{code, std::generic_category(), command[0]};
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (status != 0) fail(command[0] + " failed");
}

std::string quoted(const fs::path& path) { return '"' + path.string() + '"'; }

void Fd::reset() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (fs::temp_directory_path() / "ftp-live-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) fail_errno("mkdtemp");
  path_ = pattern;
  // The servers serve it as another user.
  if (chmod(path_.c_str(), 0755) != 0) fail_errno("chmod");
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void Process::start(const fs::path& folder, const fs::path& log, const std::vector<std::string>& command,
                    const std::map<std::string, std::string>& variables) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail_errno("socketpair");
  Fd lifetime{ends[1]};
  const Fd guard_input{ends[0]};

  std::vector<std::string> arguments{DAEMON_GUARD, folder.string(), log.string()};
  arguments.insert(arguments.end(), command.begin(), command.end());
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (variables.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& [name, value] : variables) environment.push_back(name + "=" + value);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, guard_input.get(), STDIN_FILENO);
  // In a process group of its own: what ends the group of the test must not end who cleans up after it.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int code = posix_spawn(&guard_, arguments[0].c_str(), &actions, &attributes,
                               pointers(arguments).data(), pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (code != 0) {
    guard_ = 0;
    throw std::system_error{code, std::generic_category(), arguments[0]};
  }
  lifetime_ = std::move(lifetime);
}

bool Process::running() {
  if (guard_ != 0 && waitpid(guard_, nullptr, WNOHANG) == guard_) guard_ = 0;
  return guard_ != 0;
}

void Process::stop() {
  if (guard_ != 0) {
    // An end without a word would mean that nobody is left to remove the folder.
    (void)!send(lifetime_.get(), "q", 1, MSG_NOSIGNAL);
    lifetime_.reset();
    while (waitpid(guard_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  guard_ = 0;
}

Daemon::State::State(std::string daemon_name, const DaemonOptions& options)
    : name{std::move(daemon_name)}, port{reserve_port()} {
  fs::create_directory(served);
  give_to_server(served);
  fs::create_directory(logs);
  if (options.ipv6) host = "::1";
  if (options.tls != Tls::kNone) scheme = "ftps";
  if (!options.time_zone.empty()) variables["TZ"] = options.time_zone;
  // The run time of a sanitizer in this process is none of the servers' business.
  variables["LD_PRELOAD"] = "";
  variables["LD_LIBRARY_PATH"] = library_folder().string();
}

fs::path Daemon::State::unpacked(const std::string& path) {
  const fs::path full = fs::path{DAEMONS_FOLDER} / "root" / path;
  if (!fs::exists(full)) fail(full.string() + " is not there; scripts/fetch-daemons unpacks it");
  return full;
}

fs::path Daemon::State::library_folder() { return unpacked("usr/lib") / MULTIARCH; }

void Daemon::State::need_root() const {
  if (!is_root()) fail(name + " starts as root only: run the live tests with sudo");
}

void Daemon::State::add_system_user() {
  variables["LD_PRELOAD"] = LOGIN_PRELOAD;
  variables["LIVE_TEST_USER"] = kUser;
  variables["LIVE_TEST_PASSWORD"] = kPassword;
  variables["LIVE_TEST_HOME"] = served.string();
}

void Daemon::State::make_certificate() const {
  run({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
       "-days", "2", "-subj", "/CN=another-host.example", "-keyout", file("key.pem").string(), "-out",
       file("cert.pem").string()});
}

std::string Daemon::State::log() const {
  std::string text;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator{logs}) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const fs::path& path : files) text += "--- " + path.filename().string() + "\n" + bytes_of(path);
  return text;
}

void Daemon::State::start(const std::vector<std::string>& command, bool greets) {
  process.start(folder.path(), logs / "output", command, variables);
  const auto deadline = Clock::now() + kStartLimit;
  while (!answers(greets, deadline)) {
    if (!process.running()) fail(name + " does not start:\n" + log());
    if (Clock::now() > deadline) fail(name + " does not answer:\n" + log());
    std::this_thread::sleep_for(milliseconds{5});
  }
}

bool Daemon::State::answers(bool greets, Clock::time_point deadline) const {
  const Fd client = connect_to(host, port.number);
  if (client.get() < 0) return false;
  if (!greets) return true;
  pollfd readable{client.get(), POLLIN, 0};
  const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
  char byte = 0;
  return left.count() > 0 && poll(&readable, 1, static_cast<int>(left.count())) == 1 &&
         read(client.get(), &byte, 1) == 1;
}
Daemon::Daemon(std::unique_ptr<State> state) : state_{std::move(state)} {}
Daemon::Daemon(Daemon&&) noexcept = default;
Daemon& Daemon::operator=(Daemon&&) noexcept = default;
Daemon::~Daemon() = default;

const std::string& Daemon::name() const { return state_->name; }
const std::string& Daemon::host() const { return state_->host; }
std::uint16_t Daemon::port() const { return state_->port.number; }
const std::string& Daemon::user() const { return kUser; }
const std::string& Daemon::password() const { return state_->password; }
const fs::path& Daemon::folder() const { return state_->served; }
const std::string& Daemon::remote_root() const { return state_->remote_root; }
std::string Daemon::log() const { return state_->log(); }
void Daemon::stop() { state_->process.stop(); }

std::string Daemon::url() const {
  const bool v6 = host().find(':') != std::string::npos;
  return state_->scheme + "://" + (v6 ? "[" + host() + "]" : host()) + ":" + std::to_string(port()) +
         remote_root() + "/";
}

fs::path Daemon::add_folder(const std::string& path) {
  fs::path current = folder();
  for (const fs::path& part : fs::path{path}) {
    current /= part;
    if (fs::create_directory(current)) give_to_server(current);
  }
  return current;
}

fs::path Daemon::add_file(const std::string& path, std::string_view bytes, std::time_t modified) {
  const fs::path full = folder() / path;
  add_folder(fs::path{path}.parent_path().string());
  std::ofstream file{full, std::ios::binary | std::ios::trunc};
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) fail("cannot write " + full.string());
  give_to_server(full);
  if (modified != 0) set_time(full, modified);
  return full;
}

void Daemon::hand_over() {
  for (const auto& entry : fs::recursive_directory_iterator{folder()}) give_to_server(entry.path());
}

}  // namespace servers
