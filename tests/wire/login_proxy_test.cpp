// Logging in through a proxy: which one counts, and what the trace shows of it.
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/fakes/socket.h"
#include "tests/wire/wire_fixture.h"

namespace {

using Login = wire::Wire;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(Login, AProxyThatLibcurlDoesNotTakeIsNoWayAroundIt) {
  set_options({{"proxy_type", "SOCKS5"}, {"proxy_host", std::string(8000001, 'x')}, {"proxy_port", "1"}});
  EXPECT_EQ(connect(), FAILED);
  EXPECT_EQ(server.connections_seen(), 0u);
}

TEST_F(Login, AProxyOfTypeNoneIsNoProxy) {
  set_options({{"proxy_type", "None"}, {"proxy_host", "127.0.0.1"}, {"proxy_port", "1"}});
  EXPECT_EQ(connect(), SUCCESS);
  set_options({{"proxy_type", "SOCKS5"}, {"proxy_host", "127.0.0.1"}, {"proxy_port", "1"}});
  EXPECT_NE(connect(), SUCCESS);
  EXPECT_EQ(server.logins(), 1u);
}

/// Takes one HTTP request, keeps it and refuses it.
class RefusingProxy {
 public:
  RefusingProxy() : listener_{fakes::listen_on_loopback(AF_INET)}, thread_{[this] { serve(); }} {}
  RefusingProxy(const RefusingProxy&) = delete;
  RefusingProxy& operator=(const RefusingProxy&) = delete;
  ~RefusingProxy() {
    if (thread_.joinable()) thread_.join();
  }
  [[nodiscard]] std::string port() const { return std::to_string(fakes::local_port(listener_)); }
  std::string request() {
    thread_.join();
    return request_;
  }

 private:
  void serve() {
    pollfd waiting{listener_.get(), POLLIN, 0};
    if (::poll(&waiting, 1, 30000) != 1) return;
    const fakes::Socket client{::accept(listener_.get(), nullptr, nullptr)};
    std::array<char, 1024> block{};
    while (request_.find("\r\n\r\n") == std::string::npos) {
      const ssize_t got = ::recv(client.get(), block.data(), block.size(), 0);
      if (got <= 0) return;
      request_.append(block.data(), static_cast<std::size_t>(got));
    }
    const std::string answer = "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n";
    (void)::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
  }

  fakes::Socket listener_;
  std::string request_;
  std::thread thread_;
};

TEST_F(Login, TheTraceHidesTheProxyPassword) {
  RefusingProxy proxy;
  set_options({{"proxy_type", "HTTP with TUNNEL"},
               {"proxy_host", "127.0.0.1"},
               {"proxy_port", proxy.port()},
               {"proxy_user", "jane"},
               {"proxy_password", "s3cret"}});
  EXPECT_EQ(connect(), FAILED);
  const std::string encoded = "amFuZTpzM2NyZXQ=";  // jane:s3cret
  EXPECT_THAT(proxy.request(), HasSubstr("Proxy-Authorization: Basic " + encoded));
  EXPECT_THAT(log.lines(), Each(Not(HasSubstr(encoded))));
  EXPECT_THAT(log.lines(), Contains(AllOf(StartsWith("1 [NETWORK   ] [HEADER   <<] CONNECT 127.0.0.1:"),
                                          HasSubstr("Proxy-Authorization: ***"), HasSubstr("User-Agent:"))));
}

TEST_F(Login, TheFormsProxyCountsButItsProxyPasswordDoesNot) {
  RefusingProxy proxy;
  set_options({{"proxy_type", "HTTP with TUNNEL"}});
  EXPECT_EQ(
      connect_with(
          "[{\"data\":[{\"url\":{\"value\":\"" + server.url() +
          "\"}},{\"proxy_host\":{\"value\":\"127.0.0.1\"}},{\"proxy_port\":{\"value\":\"" + proxy.port() +
          "\"}},{\"proxy_user\":{\"value\":\"jane\"}},{\"proxy_password\":{\"value\":\"s3cret\"}}]}]"),
      FAILED);
  EXPECT_THAT(proxy.request(), HasSubstr("Proxy-Authorization: Basic amFuZTo=\r\n")) << "jane:";
  EXPECT_EQ(server.connections_seen(), 0u);
}

/// Sets environment variables for one test.
class Environment {
 public:
  explicit Environment(std::vector<std::pair<const char*, std::string>> variables)
      : variables_{std::move(variables)} {
    for (const auto& [name, value] : variables_) setenv(name, value.c_str(), 1);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() {
    for (const auto& [name, value] : variables_) unsetenv(name);
  }

 private:
  std::vector<std::pair<const char*, std::string>> variables_;
};

TEST_F(Login, TakesNoProxyFromTheEnvironment) {
  const std::string nobody = "http://127.0.0.1:1";
  const Environment environment{{{"ftp_proxy", nobody}, {"all_proxy", nobody}}};
  EXPECT_EQ(connect(), SUCCESS);
}

TEST_F(Login, TheEnvironmentDoesNotBypassTheProxy) {
  const Environment environment{{{"no_proxy", "*"}}};
  RefusingProxy proxy;
  set_options(
      {{"proxy_type", "HTTP with TUNNEL"}, {"proxy_host", "127.0.0.1"}, {"proxy_port", proxy.port()}});
  EXPECT_EQ(connect(), FAILED);
  EXPECT_EQ(server.connections_seen(), 0u);
}

}  // namespace
