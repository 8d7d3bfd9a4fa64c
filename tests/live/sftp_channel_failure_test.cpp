// The SFTP channel when the other side fails: how, and how soon, a request ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "tests/fakes/relay.h"
#include "tests/live/sftp_channel_fixture.h"
#include "tests/servers/sshd.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {
namespace {

using namespace std::chrono_literals;
using fakes::Relay;
using servers::Sshd;
using testing::AnyOf;

TEST(SftpChannelFailure, NamesAnUnreachableServerAsLibcurlDoes) {
  std::uint16_t free_port = 0;
  { free_port = fakes::local_port(fakes::listen_on_loopback(AF_INET)); }
  sftp_attributes got{};
  const server_settings refused =
      read_settings({{key::url, "sftp://127.0.0.1:" + std::to_string(free_port)}});
  EXPECT_EQ(sftp_channel{refused}.stat("/", got), CURLE_COULDNT_CONNECT);
  const server_settings malformed = read_settings({{key::url, "sftp://[/"}});
  EXPECT_EQ(sftp_channel{malformed}.stat("/", got), CURLE_URL_MALFORMAT);
  const server_settings nothing;
  EXPECT_EQ(sftp_channel{nothing}.stat("/", got), CURLE_URL_MALFORMAT);
}

TEST(SftpChannelFailure, ComesInTimeWhenTheServerNeverSpeaks) {
  const fakes::Socket listener = fakes::listen_on_loopback(AF_INET);
  const server_settings settings =
      read_settings({{key::url, "sftp://127.0.0.1:" + std::to_string(fakes::local_port(listener))}});
  sftp_attributes got{};
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ((sftp_channel{settings, {.login = 300ms, .silence = 20s}}.stat("/", got)),
            CURLE_OPERATION_TIMEDOUT);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(taken, 300ms);
  EXPECT_LT(taken, 5s);
}

TEST(SftpChannelFailure, ComesInTimeWhenAProxyNeverSpeaks) {
  const fakes::Socket listener = fakes::listen_on_loopback(AF_INET);
  for (const char* type : {"SOCKS4", "SOCKS5", "HTTP with TUNNEL", "HTTP without TUNNEL"}) {
    const server_settings settings =
        read_settings({{key::url, "sftp://127.0.0.1"},
                       {key::proxy_type, type},
                       {key::proxy_host, "127.0.0.1"},
                       {key::proxy_port, std::to_string(fakes::local_port(listener))}});
    sftp_attributes got{};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ((sftp_channel{settings, {.login = 300ms, .silence = 20s}}.stat("/", got)),
              CURLE_OPERATION_TIMEDOUT)
        << type;
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, 290ms) << type;  // libcurl counts in whole milliseconds
    EXPECT_LT(taken, 5s) << type;
  }
}

TEST(SftpChannelFailure, LimitsTheLoginTo10SecondsAndEverySilenceTo20) {
  EXPECT_EQ(sftp_limits{}.login, 10s);
  EXPECT_EQ(sftp_limits{}.silence, 20s);
}

TEST(SftpChannelFailure, ComesInTimeWhenTheServerFallsSilent) {
  const Sshd server;
  const server_settings settings = login_settings(server);
  sftp_channel channel{settings, {.login = 10s, .silence = 300ms}};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat("/", got), CURLE_OK);
  ASSERT_GT(server.signal_sessions(SIGSTOP), 0U);
  const std::clock_t cpu = std::clock();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(channel.stat("/", got), CURLE_OPERATION_TIMEDOUT);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(taken, 300ms);
  EXPECT_LT(taken, 5s);
  EXPECT_LT(std::clock() - cpu, CLOCKS_PER_SEC / 10) << "it waits, it does not spin";
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(channel.stat("/", got), CURLE_OK) << "a new session after the failure";
  EXPECT_EQ(server.logins(), 2U);
}

TEST(SftpChannelFailure, IsNotNoticedWhenTheServerHungUpMeanwhile) {
  struct sigaction action {};
  sigaction(SIGPIPE, nullptr, &action);
  ASSERT_EQ(action.sa_handler, SIG_DFL) << "a write to the dead socket would end this process";
  const Sshd server;
  const server_settings settings = login_settings(server);
  sftp_channel channel{settings};
  sftp_attributes got{};
  sftp_listing body;
  ASSERT_EQ(channel.stat("/", got), CURLE_OK);
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(channel.stat("/", got), CURLE_OK);
  EXPECT_EQ(server.logins(), 2U);
  server.signal_sessions(SIGKILL);
  EXPECT_EQ(channel.list("/", body), CURLE_OK);
  EXPECT_EQ(server.logins(), 3U);
  server.end_sftp_processes();
  EXPECT_EQ(channel.stat("/", got), CURLE_OK) << "the SSH session went on, SFTP had ended";
  EXPECT_EQ(server.logins(), 4U);
}

TEST(SftpChannelFailure, StandsWhenTheServerIsGoneForGood) {
  Sshd server;
  const server_settings settings = login_settings(server);
  sftp_channel channel{settings};
  sftp_attributes got{};
  ASSERT_EQ(channel.stat("/", got), CURLE_OK);
  server.stop();
  EXPECT_EQ(channel.stat("/", got), CURLE_COULDNT_CONNECT);
  EXPECT_EQ(channel.stat("/", got), CURLE_COULDNT_CONNECT);
  server.start();
  EXPECT_EQ(channel.stat("/", got), CURLE_OK) << "the next request logs in anew";
}

TEST(SftpChannelFailure, IsAnInitialisationThatFailedWhenTheServerSpeaksNoSsh) {
  for (const std::string greeting : {"", "220 hello\r\n", "SSH-2.0-x\r\n"}) {
    const fakes::Socket listener = fakes::listen_on_loopback(AF_INET);
    std::thread server{[&] {
      pollfd watched{listener.get(), POLLIN, 0};
      poll(&watched, 1, 10'000);
      const fakes::Socket caller{accept(listener.get(), nullptr, nullptr)};
      (void)!write(caller.get(), greeting.data(), greeting.size());
    }};
    const server_settings settings =
        read_settings({{key::url, "sftp://127.0.0.1:" + std::to_string(fakes::local_port(listener))}});
    sftp_attributes got{};
    EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_FAILED_INIT) << greeting;
    server.join();
  }
}

// Wherever the server falls silent (greeting, key exchange, login, start of SFTP, any part of a listing), the
// request ends in time, and on the CPU's account it does nothing meanwhile.
TEST(SftpChannelFailure, ComesInTimeWhereverTheServerFallsSilent) {
  const Sshd server;
  for (int n = 0; n < 300; ++n) std::ofstream{server.home() / ("file number " + std::to_string(n))};
  std::size_t whole = 0;
  std::size_t logged_in = 0;
  sftp_listing want;
  {
    const Relay relay{server.host(), server.port()};
    const server_settings settings = through(login_settings(server), relay);
    sftp_channel channel{settings};
    sftp_attributes got{};
    ASSERT_EQ(channel.stat("", got), CURLE_OK);
    logged_in = relay.from_server();
    ASSERT_EQ(channel.list("", want), CURLE_OK);
    whole = relay.from_server();
  }
  struct Silence {
    std::size_t after;
    CURLcode code = CURLE_OK;
    std::chrono::steady_clock::duration taken{};
    std::size_t listed = 0;
  };
  std::vector<Silence> silences;
  for (std::size_t n = 1; n <= 24; ++n) silences.push_back({logged_in * n / 25});
  for (std::size_t n = 0; n <= 7; ++n) silences.push_back({logged_in + (whole - logged_in) * n / 8});
  const auto run = [&](Silence& each, const sftp_limits& limits) {
    const Relay relay{server.host(), server.port(), {.stall_after = each.after}};
    const server_settings settings = through(login_settings(server), relay);
    sftp_channel channel{settings, limits};
    sftp_attributes got{};
    sftp_listing body;
    const auto begin = std::chrono::steady_clock::now();
    each.code = channel.stat("", got);
    if (each.code == CURLE_OK) each.code = channel.list("", body);
    each.taken = std::chrono::steady_clock::now() - begin;
    each.listed = body.text().size();
  };
  const std::clock_t cpu = std::clock();
  Silence in_closing{whole - 1};
  run(in_closing, {.login = 10s, .silence = 500ms});
  EXPECT_EQ(in_closing.code, CURLE_OK) << "the entries had all come";
  EXPECT_EQ(in_closing.listed, want.text().size());
  EXPECT_GE(in_closing.taken, 500ms);
  std::vector<std::thread> threads;
  for (Silence& each : silences) {
    threads.emplace_back([&] { run(each, {.login = 3s, .silence = 3s}); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LT(std::clock() - cpu, 10 * CLOCKS_PER_SEC) << "thirty logins, and no spinning";
  for (const Silence& each : silences) {
    SCOPED_TRACE(std::to_string(each.after) + " of " + std::to_string(whole));
    EXPECT_EQ(each.code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_GE(each.taken, 3s);
    EXPECT_LT(each.taken, 15s);
  }
}

// Wherever the line breaks, the request ends with a failure; half a listing never passes for a whole one.
TEST(SftpChannelFailure, ComesWhereverTheLineBreaks) {
  const Sshd server;
  for (int n = 0; n < 300; ++n) std::ofstream{server.home() / ("file number " + std::to_string(n))};
  std::size_t whole = 0;
  sftp_listing want;
  {
    const Relay relay{server.host(), server.port()};
    const server_settings settings = through(login_settings(server), relay);
    sftp_channel channel{settings};
    ASSERT_EQ(channel.list("", want), CURLE_OK);
    whole = relay.from_server();
  }
  ASSERT_GT(whole, 30'000U);
  std::map<CURLcode, int> seen;
  for (std::size_t cut = 1; cut < whole - 200; cut += whole / 37) {
    const Relay relay{server.host(), server.port(), {.delay = 0us, .cut_after = cut}};
    const server_settings settings = through(login_settings(server), relay);
    sftp_listing body;
    const CURLcode code = sftp_channel{settings, {.login = 10s, .silence = 5s}}.list("", body);
    EXPECT_THAT(code, AnyOf(CURLE_FAILED_INIT, CURLE_RECV_ERROR, CURLE_SEND_ERROR)) << "cut after " << cut;
    ++seen[code];
  }
  EXPECT_GT(seen[CURLE_FAILED_INIT], 0) << "before SFTP had started";
  EXPECT_GT(seen[CURLE_RECV_ERROR] + seen[CURLE_SEND_ERROR], 0) << "in the listing";
}

}  // namespace
}  // namespace ftp_plugin
