// Every server over every connection type, put through one script. The outcomes are the table of
// docs/compatibility.md: a row that differs from the table fails. With COMPATIBILITY_ROWS set to a folder
// each test writes its row there instead, and scripts/write-compatibility makes the table of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/fakes/time_zone.h"
#include "tests/live/conformance.h"
#include "tests/servers/daemons.h"
#include "tests/servers/sshd.h"

namespace {

using live::Target;
using servers::Daemon;
using servers::DaemonOptions;
using servers::Sshd;
using servers::Tls;

constexpr int kStepLimitSeconds = 60;
constexpr int kHangLimitSeconds = 8;  // where it is known that nothing comes back

/// A server that runs for one test, and what the script needs of it.
struct Running {
  std::shared_ptr<void> owner;
  Target target;
};

struct Server {
  const char* name;
  bool is_ssh;
  bool hangs;  // the plug-in waits on its listing for ever
  std::function<Running(bool ipv6)> start;
};

Running serve(Daemon (*start)(const DaemonOptions&), DaemonOptions options, bool ipv6) {
  options.ipv6 = ipv6;
  const auto daemon = std::make_shared<Daemon>(start(options));
  return {daemon,
          {.url = daemon->url(),
           .user = daemon->user(),
           .password = daemon->password(),
           .folder = daemon->folder(),
           .hand_over = [daemon] { daemon->hand_over(); }}};
}

Server ftp(const char* name, Daemon (*start)(const DaemonOptions&), const DaemonOptions& options = {}) {
  return {name, false, false, [=](bool ipv6) { return serve(start, options, ipv6); }};
}

Server sftp(const char* name, Daemon (*start)(const DaemonOptions&)) {
  Server server = ftp(name, start);
  server.is_ssh = true;
  return server;
}

Server hanging(const char* name, Daemon (*start)(const DaemonOptions&)) {
  Server server = ftp(name, start);
  server.hangs = true;
  return server;
}

/// OpenSSH with a password, or with the user's own key, of the kind `kind`.
Server openssh(const char* name, const char* kind = nullptr) {
  return {name, true, false, [=](bool ipv6) {
            const auto server = std::make_shared<Sshd>(servers::SshdOptions{.ipv6 = ipv6});
            Running running{server,
                            {.url = server->url() + server->home().string(),
                             .user = server->user(),
                             .password = server->password(),
                             .folder = server->home(),
                             .hand_over = [server] { server->hand_over(); }}};
            if (kind != nullptr) {
              running.target.own_key = server->key_file(kind);
              running.target.password = "";
            }
            return running;
          }};
}

std::vector<Server> servers() {
  return {
      ftp("ProFTPD", servers::start_proftpd),
      ftp("ProFTPD, explicit TLS", servers::start_proftpd, {.tls = Tls::kExplicit}),
      ftp("ProFTPD, implicit TLS", servers::start_proftpd, {.tls = Tls::kImplicit}),
      ftp("ProFTPD, LIST only", servers::start_proftpd, {.machine_listing = false}),
      ftp("vsftpd", servers::start_vsftpd),
      ftp("vsftpd, explicit TLS", servers::start_vsftpd, {.tls = Tls::kExplicit}),
      ftp("vsftpd, implicit TLS", servers::start_vsftpd, {.tls = Tls::kImplicit}),
      ftp("Pure-FTPd", servers::start_pure_ftpd),
      ftp("Pure-FTPd, explicit TLS", servers::start_pure_ftpd, {.tls = Tls::kExplicit}),
      ftp("pyftpdlib", servers::start_pyftpdlib),
      ftp("pyftpdlib, explicit TLS", servers::start_pyftpdlib, {.tls = Tls::kExplicit}),
      // Its listing begins with "total", which the plug-in waits on for ever.
      hanging("inetutils-ftpd", servers::start_inetutils_ftpd),
      sftp("ProFTPD, SFTP", servers::start_proftpd_sftp),
      openssh("OpenSSH, password"),
      openssh("OpenSSH, Ed25519 key", "ed25519"),
      openssh("OpenSSH, ECDSA key", "ecdsa"),
  };
}

struct ConnectionType {
  const char* name;
  bool for_ssh;
  bool ipv6;
  fakes::FormEntries login;
  /// Starts the proxy in between, if there is one, and names it in the options.
  std::function<std::shared_ptr<void>(fakes::FormEntries& options)> open;
};

std::shared_ptr<void> straight(fakes::FormEntries&) { return {}; }

/// A connection through a proxy, named in the plug-in's own option fields.
ConnectionType through(const char* name, bool for_ssh, const char* type, std::function<Daemon()> start,
                       bool credentials = false) {
  return {name, for_ssh, false, {}, [=](fakes::FormEntries& options) -> std::shared_ptr<void> {
            auto proxy = std::make_shared<Daemon>(start());
            options = {{"proxy_type", type},
                       {"proxy_host", proxy->host()},
                       {"proxy_port", std::to_string(proxy->port())}};
            if (credentials) {
              options.emplace_back("proxy_user", proxy->user());
              options.emplace_back("proxy_password", proxy->password());
            }
            return proxy;
          }};
}

std::vector<ConnectionType> connection_types() {
  return {
      {"direct, IPv4", true, false, {}, straight},
      {"direct, IPv6", true, true, {}, straight},
      {"active mode, IPv4", false, false, {{"active", "true"}}, straight},
      {"active mode, IPv6", false, true, {{"active", "true"}}, straight},
      through("SOCKS4 (Dante)", true, "SOCKS4", [] { return servers::start_dante(); }),
      through("SOCKS5 (microsocks)", true, "SOCKS5", [] { return servers::start_microsocks(); }),
      through(
          "SOCKS5 with password (microsocks)", true, "SOCKS5", [] { return servers::start_microsocks(true); },
          true),
      through("HTTP tunnel (tinyproxy)", true, "HTTP with TUNNEL", [] { return servers::start_tinyproxy(); }),
      through(
          "HTTP tunnel with password (tinyproxy)", true, "HTTP with TUNNEL",
          [] { return servers::start_tinyproxy(true); }, true),
      through("HTTP tunnel (Squid)", true, "HTTP with TUNNEL", [] { return servers::start_squid(); }),
      through("HTTP, no tunnel (Squid)", true, "HTTP without TUNNEL", [] { return servers::start_squid(); }),
  };
}

struct Case {
  Server server;
  ConnectionType type;
};
void PrintTo(const Case& which, std::ostream* out) { *out << which.type.name << ", " << which.server.name; }

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const ConnectionType& type : connection_types()) {
    for (const Server& server : servers()) {
      if (type.for_ssh || !server.is_ssh) all.push_back({server, type});
    }
  }
  return all;
}

std::string row_of(const Case& which, const std::vector<std::string>& outcomes) {
  std::string row = std::string{"| "} + which.type.name + " | " + which.server.name + " |";
  for (const std::string& outcome : outcomes) row += " " + outcome + " |";
  return row;
}

std::vector<std::string> table() {
  std::ifstream file{COMPATIBILITY_FILE};
  std::vector<std::string> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("| ") && !line.starts_with("| connection |")) rows.push_back(line);
  }
  return rows;
}

class Matrix : public testing::TestWithParam<Case> {
 protected:
  const fakes::ScopedTimeZone utc_{"UTC"};
};

TEST_P(Matrix, GivesTheRowOfTheTable) {
  const auto& [server, type] = GetParam();
  const int limit = server.hangs ? kHangLimitSeconds : kStepLimitSeconds;
  Running running = server.start(type.ipv6);
  running.target.login = type.login;
  const std::shared_ptr<void> proxy = type.open(running.target.options);
  const std::string row = row_of(GetParam(), live::run_script(running.target, limit));
  if (const char* folder = std::getenv("COMPATIBILITY_ROWS")) {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = info->name();
    std::replace(name.begin(), name.end(), '/', '-');
    std::ofstream{std::string{folder} + "/" + name} << row << "\n";
    return;
  }
  const std::vector<std::string> rows = table();
  EXPECT_NE(std::find(rows.begin(), rows.end(), row), rows.end()) << "the table has another row than\n"
                                                                  << row;
}

std::string label(const testing::TestParamInfo<Case>& info) {
  char number[8];
  (void)std::snprintf(number, sizeof number, "%03zu", info.index);
  std::string text = std::string{number} + "_" + info.param.type.name + "_" + info.param.server.name;
  std::erase_if(text, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_'; });
  return text;
}

INSTANTIATE_TEST_SUITE_P(, Matrix, testing::ValuesIn(cases()), label);

TEST(CompatibilityTable, HasARowForEachCaseAndNoOther) { EXPECT_EQ(table().size(), cases().size()); }

TEST(CompatibilityTable, HasTheStepsOfTheScript) {
  std::string head = "| connection | server |";
  for (const std::string& step : live::step_names()) head += " " + step + " |";
  std::ifstream file{COMPATIBILITY_FILE};
  std::ostringstream text;
  text << file.rdbuf();
  EXPECT_NE(text.str().find(head + "\n"), std::string::npos) << "the head should be\n" << head;
}

}  // namespace
