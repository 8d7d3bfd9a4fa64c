#include "tests/servers/sshd.h"

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/fakes/socket.h"
#include "tests/servers/disk.h"

namespace servers {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto kStartLimit = 15s;
constexpr auto kLook = 5ms;  // between two looks at whether something has happened
constexpr int kPortsToTry = 20;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error{"sshd: " + what}; }

void write(const fs::path& file, std::string_view text) {
  std::ofstream out{file, std::ios::binary};
  out << text;
  if (!out.flush()) fail("cannot write " + file.string());
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const auto& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

std::vector<pid_t> children_of(pid_t parent) {
  std::vector<pid_t> children;
  const std::string id = std::to_string(parent);
  std::ifstream in{"/proc/" + id + "/task/" + id + "/children"};
  for (pid_t child = 0; in >> child;) children.push_back(child);
  return children;
}

/// Children before their own children.
std::vector<pid_t> descendants_of(pid_t parent) {
  std::vector<pid_t> found = children_of(parent);
  for (std::size_t n = 0; n < found.size(); ++n) {
    for (const pid_t child : children_of(found[n])) found.push_back(child);
  }
  return found;
}

fakes::Socket connect_to(const std::string& host, std::uint16_t port) {
  return fakes::connect_to_loopback(host.find(':') == std::string::npos ? AF_INET : AF_INET6, port);
}

}  // namespace

Sshd::Sshd(const SshdOptions& options)
    : host_{options.ipv6 ? "::1" : "127.0.0.1"},
      time_zone_{options.time_zone.empty() ? "UTC" : options.time_zone},
      uid_{geteuid()},
      gid_{getegid()} {
  if (uid_ == 0) {
    const passwd* nobody = getpwnam("nobody");
    if (nobody == nullptr) fail("this system has no user nobody");
    uid_ = nobody->pw_uid;
    gid_ = nobody->pw_gid;
  }
  std::string name = (fs::temp_directory_path() / "sshd-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) fail("no temporary folder");
  folder_ = fs::canonical(name);
  home_ = folder_ / "home";
  try {
    prepare(options);
    for (int n = 0; n < kPortsToTry; ++n) {
      port_ = fakes::local_port(fakes::listen_on_loopback(options.ipv6 ? AF_INET6 : AF_INET));
      if (start_once()) return;  // else somebody else took the port meanwhile
    }
    fail("no free port");
  } catch (...) {
    stop();
    fs::remove_all(folder_);
    throw;
  }
}

Sshd::~Sshd() {
  stop();
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string Sshd::url() const {
  const std::string host = host_.find(':') == std::string::npos ? host_ : '[' + host_ + ']';
  return "sftp://" + host + ':' + std::to_string(port_);
}

void Sshd::prepare(const SshdOptions& options) {
  // The server is run from a copy: its own user may not be allowed to go where the sources are.
  const fs::path root = fs::path{DAEMONS_FOLDER} / "root";
  const fs::path libraries = root / "usr/lib" / MULTIARCH;
  if (!fs::exists(root / "usr/sbin/sshd")) fail("not there: run scripts/fetch-daemons");
  fs::copy_file(root / "usr/sbin/sshd", folder_ / "sshd");
  fs::copy_file(LOGIN_PRELOAD, folder_ / "login_preload.so");
  if (fs::exists(libraries / "libwrap.so.0"))
    fs::copy_file(libraries / "libwrap.so.0", folder_ / "libwrap.so.0");

  std::string public_keys;
  for (const auto& [name, type, phrase] :
       {std::tuple<std::string, std::string, std::string>{"host_key", "ed25519", ""},
        {"ed25519", "ed25519", ""},
        {"ed25519_phrase", "ed25519", pass_phrase()},
        {"ecdsa", "ecdsa", ""},
        {"ecdsa_phrase", "ecdsa", pass_phrase()}}) {
    run({"ssh-keygen", "-q", "-t", type, "-N", phrase, "-f", (folder_ / name).string()});
    public_keys += bytes_of(folder_ / (name + ".pub"));
  }
  write(folder_ / "authorized_keys", public_keys);

  std::string sftp = "internal-sftp";
  if (!options.sftp_program.empty()) {
    fs::copy_file(options.sftp_program, folder_ / "sftp.py");
    sftp = "/usr/bin/python3 " + (folder_ / "sftp.py").string();
  }
  const auto yes_no = [](bool yes) { return yes ? " yes\n" : " no\n"; };
  std::ostringstream config;
  config << "ListenAddress " << host_ << "\nHostKey " << (folder_ / "host_key").string()
         << "\nAuthorizedKeysFile " << (folder_ / "authorized_keys").string()
         << "\nPidFile none\nStrictModes no\nUseDNS no\nMaxStartups 1000\nLogLevel VERBOSE\nUsePAM yes\n"
         << "PasswordAuthentication" << yes_no(options.password)  //
         << "KbdInteractiveAuthentication" << yes_no(options.keyboard_interactive) << "Subsystem sftp "
         << sftp << "\n"
         << options.more_settings;
  write(folder_ / "sshd_config", config.str());
  fs::create_directory(home_);
  write(folder_ / "log", "");
  if (geteuid() == 0) {
    for (const auto& entry : fs::recursive_directory_iterator{folder_}) {
      if (lchown(entry.path().c_str(), uid_, gid_) != 0) fail("lchown");
    }
    if (chown(folder_.c_str(), uid_, gid_) != 0) fail("chown");
  }
}

void Sshd::hand_over() const {
  if (geteuid() != 0) return;
  for (const auto& entry : fs::recursive_directory_iterator{home_}) {
    if (lchown(entry.path().c_str(), uid_, gid_) != 0) fail("lchown");
  }
}

void Sshd::run(const std::vector<std::string>& arguments) const {
  pid_t child = -1;
  const int code =
      posix_spawnp(&child, arguments[0].c_str(), nullptr, nullptr, pointers(arguments).data(), environ);
  int status = 0;
  if (code != 0 || waitpid(child, &status, 0) != child || status != 0) fail(arguments[0] + " failed");
}

std::vector<std::string> Sshd::environment(const std::string& time_zone) const {
  return {
      "PATH=/usr/bin:/bin", "TZ=" + time_zone, "LD_LIBRARY_PATH=" + folder_.string(),
      // The user exists for the server alone: neither the user data base nor PAM of this machine is asked.
      "LD_PRELOAD=" + (folder_ / "login_preload.so").string(), "LIVE_TEST_USER=" + user(),
      "LIVE_TEST_PASSWORD=" + password(), "LIVE_TEST_HOME=" + home_.string()};
}

bool Sshd::start_once() {
  const std::vector<std::string> arguments = {(folder_ / "sshd").string(),
                                              "-D",
                                              "-f",
                                              (folder_ / "sshd_config").string(),
                                              "-p",
                                              std::to_string(port_),
                                              "-E",
                                              (folder_ / "log").string()};
  const std::vector<std::string> variables = environment(time_zone_);
  const auto argv = pointers(arguments);
  const auto envp = pointers(variables);
  const bool change_user = geteuid() == 0;
  child_ = fork();
  if (child_ < 0) fail("fork");
  if (child_ == 0) {
    if (change_user && (setgroups(0, nullptr) != 0 || setgid(gid_) != 0 || setuid(uid_) != 0)) _exit(126);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
  while (!connect_to(host_, port_)) {
    int status = 0;
    if (waitpid(child_, &status, WNOHANG) == child_) {
      child_ = -1;
      if (log().find("Address already in use") != std::string::npos) return false;
      fail("ended with status " + std::to_string(status) + ":\n" + log());
    }
    if (std::chrono::steady_clock::now() > deadline) fail("does not answer:\n" + log());
    std::this_thread::sleep_for(kLook);
  }
  return true;
}

void Sshd::start() {
  if (!start_once()) fail("the port is taken");
}

void Sshd::stop() {
  if (child_ < 0) return;
  const std::vector<pid_t> sessions = descendants_of(child_);
  kill(child_, SIGKILL);
  for (const pid_t session : sessions) kill(session, SIGKILL);
  waitpid(child_, nullptr, 0);
  child_ = -1;
}

std::size_t Sshd::signal_sessions(int signal) const {
  const std::vector<pid_t> sessions = descendants_of(child_);
  for (const pid_t session : sessions) kill(session, signal);
  return sessions.size();
}

void Sshd::end_sftp_processes() const {
  for (const pid_t process : descendants_of(child_)) {
    if (children_of(process).empty()) kill(process, SIGKILL);
  }
}

std::string Sshd::log() const { return bytes_of(folder_ / "log"); }

std::size_t Sshd::logins() const {
  const std::string text = log();
  std::size_t count = 0;
  for (auto at = text.find("Accepted "); at != std::string::npos; at = text.find("Accepted ", at + 1))
    ++count;
  return count;
}

}  // namespace servers
