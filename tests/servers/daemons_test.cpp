// The servers themselves, looked at with the curl program: a failing test of the plug-in must not be the
// servers' fault.
#include "tests/servers/daemons.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "tests/servers/disk.h"

namespace {

using servers::Daemon;
using servers::DaemonOptions;
using servers::Tls;
using testing::HasSubstr;
using testing::Not;

struct Answer {
  int code;
  std::string out;
};

// What curl prints, the dialogue included.
Answer run_curl(const std::string& arguments) {
  FILE* pipe = popen(("curl " + arguments + " 2>&1").c_str(), "r");
  Answer answer{-1, ""};
  std::array<char, 4096> buffer{};
  for (std::size_t n = 0; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    answer.out.append(buffer.data(), n);
  }
  answer.code = WEXITSTATUS(pclose(pipe));
  return answer;
}

Answer curl(const Daemon& server, Tls tls, const std::string& path, const std::string& extra = "",
            const std::string& password = "") {
  const std::string host =
      server.host().find(':') == std::string::npos ? server.host() : "[" + server.host() + "]";
  // At most TLS 1.2: this curl offers the servers a used-up ticket otherwise.
  std::string options = "-svk --max-time 60 ";
  if (tls != Tls::kNone) options += "--tls-max 1.2 ";
  if (tls == Tls::kExplicit) options += "--ssl-reqd ";
  return run_curl(options + "-u '" + server.user() + ":" + (password.empty() ? server.password() : password) +
                  "' " + extra + " '" + (tls == Tls::kImplicit ? "ftps" : "ftp") + "://" + host + ":" +
                  std::to_string(server.port()) +
                  (server.remote_root().empty() ? "" : "/" + server.remote_root()) + path + "'");
}

struct Row {
  const char* label;
  Daemon (*start)(const DaemonOptions&);
  DaemonOptions options;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.label; }

class EveryServer : public testing::TestWithParam<Row> {};

TEST_P(EveryServer, ServesAndTakesFilesOfItsUserOnly) {
  const Row& row = GetParam();
  Daemon server = row.start(row.options);
  server.add_file("folder/hello.txt", "hello");

  const Answer read = curl(server, row.options.tls, "/folder/hello.txt");
  EXPECT_EQ(read.code, 0) << read.out << server.log();
  EXPECT_THAT(read.out, HasSubstr("hello"));

  const Answer list = curl(server, row.options.tls, "/folder/");
  EXPECT_EQ(list.code, 0) << list.out;
  EXPECT_THAT(list.out, HasSubstr("hello.txt"));

  const Answer write = curl(server, row.options.tls, "/folder/new.txt",
                            "-T " + (server.folder() / "folder/hello.txt").string());
  EXPECT_EQ(write.code, 0) << write.out << server.log();
  EXPECT_EQ(servers::bytes_of(server.folder() / "folder/new.txt"), "hello");

  const Answer refused = curl(server, row.options.tls, "/", "", "wrong");
  EXPECT_EQ(refused.code, 67) << refused.out;
}

INSTANTIATE_TEST_SUITE_P(
    , EveryServer,
    testing::Values(Row{"ProFtpdPlain", servers::start_proftpd, {}},
                    Row{"ProFtpdExplicit", servers::start_proftpd, {.tls = Tls::kExplicit}},
                    Row{"ProFtpdImplicit", servers::start_proftpd, {.tls = Tls::kImplicit}},
                    Row{"ProFtpdOverIpv6", servers::start_proftpd, {.ipv6 = true}},
                    Row{"VsftpdPlain", servers::start_vsftpd, {}},
                    Row{"VsftpdExplicit", servers::start_vsftpd, {.tls = Tls::kExplicit}},
                    Row{"VsftpdImplicit", servers::start_vsftpd, {.tls = Tls::kImplicit}},
                    Row{"VsftpdOverIpv6", servers::start_vsftpd, {.ipv6 = true}},
                    Row{"PureFtpdPlain", servers::start_pure_ftpd, {}},
                    Row{"PureFtpdExplicit", servers::start_pure_ftpd, {.tls = Tls::kExplicit}},
                    Row{"PureFtpdOverIpv6", servers::start_pure_ftpd, {.ipv6 = true}},
                    Row{"PyftpdlibPlain", servers::start_pyftpdlib, {}},
                    Row{"PyftpdlibExplicit", servers::start_pyftpdlib, {.tls = Tls::kExplicit}},
                    Row{"PyftpdlibOverIpv6", servers::start_pyftpdlib, {.ipv6 = true}},
                    Row{"InetutilsPlain", servers::start_inetutils_ftpd, {}},
                    Row{"InetutilsOverIpv6", servers::start_inetutils_ftpd, {.ipv6 = true}}),
    [](auto& row) { return row.param.label; });

TEST(ProFtpd, SpeaksSftpToo) {
  Daemon server = servers::start_proftpd_sftp({});
  server.add_file("folder/hello.txt", "hello");
  EXPECT_EQ(server.url().substr(0, 7), "sftp://");
  const Answer read = run_curl("-svk --max-time 60 -u '" + server.user() + ":" + server.password() + "' '" +
                               server.url() + "folder/hello.txt'");
  EXPECT_EQ(read.code, 0) << read.out << server.log();
  EXPECT_THAT(read.out, HasSubstr("hello"));
}

struct ProxyRow {
  const char* label;
  Daemon (*start)(bool);
  const char* kind;  // as curl calls it
  bool credentials;
};
void PrintTo(const ProxyRow& row, std::ostream* out) { *out << row.label; }

Daemon dante(bool) { return servers::start_dante(); }

class EveryProxy : public testing::TestWithParam<ProxyRow> {};

TEST_P(EveryProxy, CarriesFtpForThoseItKnows) {
  const ProxyRow& row = GetParam();
  Daemon server = servers::start_proftpd({});
  server.add_file("hello.txt", "hello");
  Daemon proxy = row.start(row.credentials);
  const std::string at = " " + proxy.host() + ":" + std::to_string(proxy.port());
  const auto through = [&](const std::string& password) {
    return curl(server, Tls::kNone, "/hello.txt",
                std::string{"--proxytunnel "} + row.kind + at +
                    (row.credentials ? " -U '" + proxy.user() + ":" + password + "'" : ""));
  };
  const Answer read = through(proxy.password());
  EXPECT_EQ(read.code, 0) << read.out << proxy.log();
  EXPECT_THAT(read.out, HasSubstr("hello"));
  if (row.credentials) {
    EXPECT_NE(through("wrong").code, 0);
  }
  proxy.stop();
  EXPECT_NE(through(proxy.password()).code, 0);
}

INSTANTIATE_TEST_SUITE_P(
    , EveryProxy,
    testing::Values(ProxyRow{"DanteSocks4", dante, "--socks4", false},
                    ProxyRow{"DanteSocks5", dante, "--socks5", false},
                    ProxyRow{"MicrosocksOpen", servers::start_microsocks, "--socks5", false},
                    ProxyRow{"MicrosocksWithCredentials", servers::start_microsocks, "--socks5", true},
                    ProxyRow{"TinyproxyOpen", servers::start_tinyproxy, "-x", false},
                    ProxyRow{"TinyproxyWithCredentials", servers::start_tinyproxy, "-x", true},
                    ProxyRow{"SquidOpen", servers::start_squid, "-x", false},
                    ProxyRow{"SquidWithCredentials", servers::start_squid, "-x", true}),
    [](auto& row) { return row.param.label; });

TEST(ProFtpd, WithoutMachineListingRefusesItsCommandsAndDoesNotOfferThem) {
  Daemon server = servers::start_proftpd({.machine_listing = false});
  server.add_file("a.txt", "a");
  const Answer answer = curl(server, Tls::kNone, "/",
                             "-Q FEAT -Q '*OPTS MLST type;unique;size;modify;' "
                             "-Q '*MFMT 20200101000000 a.txt'");
  EXPECT_EQ(answer.code, 0) << answer.out;
  EXPECT_THAT(answer.out, Not(HasSubstr("<  MFMT")));
  EXPECT_THAT(answer.out, Not(HasSubstr("<  MLST")));
  EXPECT_THAT(answer.out, HasSubstr("< 550 OPTS MLST"));
  EXPECT_THAT(answer.out, Not(HasSubstr("< 213 Modify=")));
}

TEST(ProFtpd, WithoutUtf8RefusesTheOption) {
  Daemon plain = servers::start_proftpd({.utf8 = false});
  EXPECT_THAT(curl(plain, Tls::kNone, "/", "-Q '*OPTS UTF8 ON'").out, Not(HasSubstr("< 200 UTF8")));
  Daemon utf8 = servers::start_proftpd({});
  EXPECT_THAT(curl(utf8, Tls::kNone, "/", "-Q '*OPTS UTF8 ON'").out, HasSubstr("< 200 UTF8"));
}

bool gone(pid_t pid) {
  const std::string stat = "/proc/" + std::to_string(pid) + "/stat";
  std::ifstream file{stat};
  std::string id, command, state;
  return !(file >> id >> command >> state) || state == "Z";
}

struct Started {
  pid_t daemon;
  char folder[256];
};

TEST(Daemon, EndsWithTheProgramThatStartedItHoweverThatDiesAndLeavesNothing) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    const auto server = std::make_unique<Daemon>(servers::start_proftpd({}));
    std::ifstream file{server->folder().parent_path() / "pid"};
    Started started{};
    file >> started.daemon;
    server->folder().string().copy(started.folder, sizeof started.folder - 1);
    (void)!write(ends[1], &started, sizeof started);
    raise(SIGKILL);
  }
  close(ends[1]);
  Started started{};
  ASSERT_EQ(read(ends[0], &started, sizeof started), static_cast<ssize_t>(sizeof started));
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  close(ends[0]);
  ASSERT_GT(started.daemon, 1);
  const auto done = [&] { return gone(started.daemon) && !std::filesystem::exists(started.folder); };
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{30};
  while (!done() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds{5});
  }
  EXPECT_TRUE(done()) << started.folder;
}

}  // namespace
