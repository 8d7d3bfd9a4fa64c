#include "tests/fakes/daemons.h"

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
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

extern char** environ;

namespace fakes {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// How long a server may take to answer. Only a failing test waits for so long.
constexpr std::chrono::seconds kStartLimit{60};

const std::string kUser = "tester";
// The bytes that a URL, a colon list or a quoted text would stumble over belong into every login of a test.
const std::string kPassword = "p@ss:w/rd 1";
// SHA-512 crypt of kPassword; the servers with user files of their own take it so.
const std::string kPasswordHash =
    "$6$livetest$NowlMoyfiurZhRjfJ61i/rFgJF4M4vcfiN/JEhtGoacGAnIImumOez/yp85skRk06w9OXDdzQhI1PmWeRPy1j/";

// Ports of the servers come from below the range from which the system takes the ports of its own choice, and
// those of the data connections from above.
constexpr std::uint16_t kFirstPort = 21000;
constexpr std::uint16_t kLastPort = 31999;
const std::string kFirstDataPort = "49200";
const std::string kLastDataPort = "65500";

[[noreturn]] void fail(const std::string& text) { throw std::runtime_error{text}; }

[[noreturn]] void fail_errno(const std::string& what) {
  throw std::system_error{errno, std::generic_category(), what};
}

class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_{fd} {}
  Fd(Fd&& other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Fd() { reset(); }
  void reset() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_ = -1;
};

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "ftp-live-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) fail_errno("mkdtemp");
    path_ = pattern;
    // The servers serve it as another user.
    if (chmod(path_.c_str(), 0755) != 0) fail_errno("chmod");
  }
  TemporaryFolder(TemporaryFolder&&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

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

void write_text(const fs::path& path, const std::string& text, fs::perms mode = fs::perms{0644}) {
  std::ofstream file{path, std::ios::binary | std::ios::trunc};
  fs::permissions(path, mode);
  file << text;
  if (!file.flush()) fail("cannot write " + path.string());
}

std::string read_text(const fs::path& path) {
  std::ifstream file{path, std::ios::binary};
  return {std::istreambuf_iterator<char>{file}, {}};
}

// A port that no other test takes meanwhile: it is reserved by an abstract socket name, which goes with the
// process, and nothing listens on it.
struct Port {
  std::uint16_t number = 0;
  Fd reservation;
};

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

// Ends with the guard that runs it; see daemon_guard.
class Process {
 public:
  Process() = default;
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { stop(); }

  void start(const fs::path& folder, const fs::path& log, const std::vector<std::string>& command,
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
    const int code = posix_spawn(&guard_, arguments[0].c_str(), &actions, nullptr, pointers(arguments).data(),
                                 pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (code != 0) {
      guard_ = 0;
      throw std::system_error{code, std::generic_category(), arguments[0]};
    }
    lifetime_ = std::move(lifetime);
  }

  [[nodiscard]] bool running() {
    if (guard_ != 0 && waitpid(guard_, nullptr, WNOHANG) == guard_) guard_ = 0;
    return guard_ != 0;
  }

  void stop() {
    if (guard_ != 0) {
      // An end without a word would mean that nobody is left to remove the folder.
      (void)!send(lifetime_.get(), "q", 1, MSG_NOSIGNAL);
      lifetime_.reset();
      while (waitpid(guard_, nullptr, 0) < 0 && errno == EINTR) {
      }
    }
    guard_ = 0;
  }

 private:
  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  }

  pid_t guard_ = 0;
  Fd lifetime_;
};

// Runs a helper program to its end.
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

}  // namespace

struct Daemon::State {
  std::string name;
  std::string scheme = "ftp";
  std::string host = "127.0.0.1";
  std::string remote_root;
  TemporaryFolder folder;
  fs::path served = folder.path() / "files";
  fs::path logs = folder.path() / "logs";
  Port port = reserve_port();
  Process process;
  std::map<std::string, std::string> variables;

  State(std::string daemon_name, const DaemonOptions& options) : name{std::move(daemon_name)} {
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

  static fs::path unpacked(const std::string& path) {
    const fs::path full = fs::path{DAEMONS_FOLDER} / "root" / path;
    if (!fs::exists(full)) fail(full.string() + " is not there; scripts/fetch-daemons unpacks it");
    return full;
  }

  static fs::path library_folder() { return unpacked("usr/lib") / MULTIARCH; }

  void need_root() const {
    if (!is_root()) fail(name + " starts as root only: run the live tests with sudo");
  }

  [[nodiscard]] fs::path file(const std::string& path) const { return folder.path() / path; }

  // The user that a daemon asks the system for.
  void add_system_user() {
    variables["LD_PRELOAD"] = LOGIN_PRELOAD;
    variables["LIVE_TEST_USER"] = kUser;
    variables["LIVE_TEST_PASSWORD"] = kPassword;
    variables["LIVE_TEST_HOME"] = served.string();
  }

  // key.pem and cert.pem, for another name than the server's: whoever looks at names cannot log in.
  void make_certificate() const {
    run({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
         "-days", "2", "-subj", "/CN=another-host.example", "-keyout", file("key.pem").string(), "-out",
         file("cert.pem").string()});
  }

  [[nodiscard]] std::string log() const {
    std::string text;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator{logs}) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files) text += "--- " + path.filename().string() + "\n" + read_text(path);
    return text;
  }

  // `greets`: the server speaks first, and is ready when it has.
  void start(const std::vector<std::string>& command, bool greets) {
    process.start(folder.path(), logs / "output", command, variables);
    const auto deadline = Clock::now() + kStartLimit;
    while (!answers(greets, deadline)) {
      if (!process.running()) fail(name + " does not start:\n" + log());
      if (Clock::now() > deadline) fail(name + " does not answer:\n" + log());
      std::this_thread::sleep_for(milliseconds{5});
    }
  }

  bool answers(bool greets, Clock::time_point deadline) const {
    const Fd client = connect_to(host, port.number);
    if (client.get() < 0) return false;
    if (!greets) return true;
    pollfd readable{client.get(), POLLIN, 0};
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    char byte = 0;
    return left.count() > 0 && poll(&readable, 1, static_cast<int>(left.count())) == 1 &&
           read(client.get(), &byte, 1) == 1;
  }
};

Daemon::Daemon(std::unique_ptr<State> state) : state_{std::move(state)} {}
Daemon::Daemon(Daemon&&) noexcept = default;
Daemon& Daemon::operator=(Daemon&&) noexcept = default;
Daemon::~Daemon() = default;

const std::string& Daemon::name() const { return state_->name; }
const std::string& Daemon::host() const { return state_->host; }
std::uint16_t Daemon::port() const { return state_->port.number; }
const std::string& Daemon::user() const { return kUser; }
const std::string& Daemon::password() const { return kPassword; }
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
  if (modified != 0) {
    const timespec times[2] = {{modified, 0}, {modified, 0}};
    if (utimensat(AT_FDCWD, full.c_str(), times, 0) != 0) fail_errno("utimensat " + full.string());
  }
  return full;
}

void Daemon::hand_over() {
  for (const auto& entry : fs::recursive_directory_iterator{folder()}) give_to_server(entry.path());
}

Daemon start_proftpd(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("ProFTPD", options);
  const auto [uid, gid] = server_user();
  // It refuses a user file that others may read.
  write_text(state->file("users"),
             kUser + ":" + kPasswordHash + ":" + std::to_string(uid) + ":" + std::to_string(gid) +
                 "::" + state->served.string() + ":/bin/sh\n",
             fs::perms{0600});
  std::ostringstream config;
  config << "ModulePath " << quoted(Daemon::State::unpacked("usr/lib/proftpd")) << "\n"
         << "ServerName live-test\nServerType standalone\n"
         << "UseIPv6 " << (options.ipv6 ? "on" : "off") << "\n"
         << "DefaultAddress " << state->host << "\nSocketBindTight on\nPort " << state->port.number << "\n"
         << "PassivePorts " << kFirstDataPort << " " << kLastDataPort << "\n"
         << "UseReverseDNS off\nDelayTable none\nControlsEngine off\nWtmpLog off\nTransferLog none\n"
         << "PidFile " << quoted(state->file("pid")) << "\n"
         << "ScoreboardFile " << quoted(state->file("scoreboard")) << "\n"
         << "SystemLog " << quoted(state->logs / "system") << "\n"
         << "ExtendedLog " << quoted(state->logs / "commands") << " ALL\n"
         << "AuthOrder mod_auth_file.c\nAuthPAM off\nAuthUserFile " << quoted(state->file("users")) << "\n"
         << "RequireValidShell off\nAllowOverwrite on\nAllowStoreRestart on\nMaxInstances 300\n"
         << "UseEncoding " << (options.utf8 ? "UTF-8 UTF-8" : "off") << "\n";
  if (is_root()) {
    config << "User nobody\nGroup nogroup\nDefaultRoot ~\n";
  } else {
    state->remote_root = state->served.string();
  }
  if (!options.machine_listing) {
    config << "FactsAdvertise off\n<Limit MLSD MLST MFMT MFF OPTS_MLST>\nDenyAll\n</Limit>\n";
  }
  if (options.tls != Tls::kNone) {
    state->make_certificate();
    config << "LoadModule mod_tls.c\nTLSEngine on\nTLSProtocol TLSv1.2 TLSv1.3\nTLSRequired off\n"
           << "TLSLog " << quoted(state->logs / "tls") << "\n"
           << "TLSECCertificateFile " << quoted(state->file("cert.pem")) << "\n"
           << "TLSECCertificateKeyFile " << quoted(state->file("key.pem")) << "\n";
    if (options.tls == Tls::kImplicit || !options.session_reuse) {
      config << "TLSOptions" << (options.tls == Tls::kImplicit ? " UseImplicitSSL" : "")
             << (options.session_reuse ? "" : " NoSessionReuseRequired") << "\n";
    }
  }
  write_text(state->file("config"), config.str());
  state->start(
      {Daemon::State::unpacked("usr/sbin/proftpd").string(), "-n", "-c", state->file("config").string()},
      options.tls != Tls::kImplicit);
  return Daemon{std::move(state)};
}

Daemon start_vsftpd(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("vsftpd", options);
  state->need_root();
  state->add_system_user();
  fs::create_directory(state->file("empty"));
  std::ostringstream config;
  config << "listen=" << (options.ipv6 ? "NO" : "YES") << "\nlisten_ipv6=" << (options.ipv6 ? "YES" : "NO")
         << "\n"
         << (options.ipv6 ? "listen_address6=" : "listen_address=") << state->host << "\n"
         << "listen_port=" << state->port.number << "\nbackground=NO\n"
         << "pasv_min_port=" << kFirstDataPort << "\npasv_max_port=" << kLastDataPort << "\n"
         << "anonymous_enable=NO\nlocal_enable=YES\nwrite_enable=YES\nlocal_umask=022\n"
         << "chroot_local_user=YES\nallow_writeable_chroot=YES\nsecure_chroot_dir="
         << state->file("empty").string() << "\n"
         << "nopriv_user=nobody\npam_service_name=live-test\nsession_support=NO\n"
         // Its sandboxes need rights that a container does not have.
         << "seccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\n"
         << "force_dot_files=YES\nconnect_from_port_20=NO\nmax_per_ip=300\n"
         << "xferlog_enable=YES\nlog_ftp_protocol=YES\nvsftpd_log_file="
         << (state->logs / "commands").string() << "\n";
  if (options.tls != Tls::kNone) {
    state->make_certificate();
    config << "ssl_enable=YES\nssl_tlsv1=YES\nssl_ciphers=HIGH\nrsa_cert_file="
           << state->file("cert.pem").string() << "\nrsa_private_key_file=" << state->file("key.pem").string()
           << "\nforce_local_data_ssl=NO\nforce_local_logins_ssl=NO\n"
           << "require_ssl_reuse=" << (options.session_reuse ? "YES" : "NO") << "\n"
           << "implicit_ssl=" << (options.tls == Tls::kImplicit ? "YES" : "NO") << "\n";
  }
  write_text(state->file("config"), config.str());
  state->start({Daemon::State::unpacked("usr/sbin/vsftpd").string(), state->file("config").string()},
               options.tls != Tls::kImplicit);
  return Daemon{std::move(state)};
}

Daemon start_pure_ftpd(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("Pure-FTPd", options);
  state->need_root();
  if (options.tls == Tls::kImplicit)
    throw std::invalid_argument{"Pure-FTPd: implicit TLS comes without AUTH"};
  const auto [uid, gid] = server_user();
  write_text(state->file("users"), kUser + ":" + kPasswordHash + ":" + std::to_string(uid) + ":" +
                                       std::to_string(gid) + "::" + state->served.string() +
                                       "/./::::::::::::\n");
  run({"/usr/bin/env", "LD_LIBRARY_PATH=" + Daemon::State::library_folder().string(),
       Daemon::State::unpacked("usr/bin/pure-pw").string(), "mkdb", state->file("users.pdb").string(), "-f",
       state->file("users").string()});
  std::vector<std::string> command{Daemon::State::unpacked("usr/sbin/pure-ftpd").string(),
                                   "--bind=" + state->host + "," + std::to_string(state->port.number),
                                   "--login=puredb:" + state->file("users.pdb").string(),
                                   "--pidfile=" + state->file("pid").string(),
                                   "--altlog=w3c:" + (state->logs / "transfers").string(),
                                   "--passiveportrange=" + kFirstDataPort + ":" + kLastDataPort,
                                   "--syslogfacility=none",
                                   "--noanonymous",
                                   "--chrooteveryone",
                                   "--dontresolve",
                                   "--allowdotfiles",
                                   "--minuid=1",
                                   "--limitrecursion=200000:50",
                                   "--maxclientsnumber=300",
                                   "--maxclientsperip=300",
                                   "--maxidletime=60"};
  if (options.tls == Tls::kExplicit) {
    state->make_certificate();
    write_text(state->file("both.pem"),
               read_text(state->file("key.pem")) + read_text(state->file("cert.pem")));
    command.push_back("--tls=1");
    command.push_back("--certfile=" + state->file("both.pem").string());
  }
  state->start(command, true);
  return Daemon{std::move(state)};
}

}  // namespace fakes
