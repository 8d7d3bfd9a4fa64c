// Which options a login sets, in their order. libcurl's values are read off the calls.
#include "transport/login_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/transport/curl_recorder.h"

namespace ftp_plugin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using lines = std::vector<std::string>;

class LoginOptions : public testing::Test {
 protected:
  lines login() {
    return options_of([this] { set_login_options(curl.get(), read_settings(settings)); });
  }
  lines proxy() {
    return options_of([this] { set_proxy_options(curl.get(), read_settings(settings).proxy); });
  }
  lines credentials() {
    return options_of([this] { set_credentials(curl.get(), read_settings(settings).login); });
  }
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl{curl_easy_init(), &curl_easy_cleanup};
  settings_map settings;
};

TEST_F(LoginOptions, OfAPlainServerComeInOrder) {
  settings = {{"url", "ftp://h"}, {"type", "ftp"}, {"ssl", "false"}, {"user", "u"}, {"pwd", "p"}};
  EXPECT_THAT(login(), ElementsAre("URL=\"ftp://h\"", "PROTOCOLS_STR=\"ftp,ftps,sftp\"", "USERNAME=\"u\"",
                                   "PASSWORD=\"p\"", "PROXY=\"\"", "NOPROXY=\"\"", "NOBODY=1", "VERBOSE=1",
                                   "DEBUGFUNCTION=set"));
}

TEST_F(LoginOptions, WithoutAUrlNameNoServer) { EXPECT_EQ(login().front(), "URL=\"\""); }

TEST_F(LoginOptions, OfATlsServerTryTlsAndCheckNothing) {
  settings = {{"url", "ftp://h"}, {"ssl", "true"}};
  EXPECT_THAT(login(), ElementsAre("URL=\"ftp://h\"", "PROTOCOLS_STR=\"ftp,ftps,sftp\"", "SSL_VERIFYPEER=0",
                                   "SSL_VERIFYHOST=0", "USE_SSL=1", "PROXY=\"\"", "NOPROXY=\"\"", "NOBODY=1",
                                   "VERBOSE=1", "DEBUGFUNCTION=set"));
}

TEST_F(LoginOptions, TrueInOtherLettersAsksForNoTls) {
  settings = {{"url", "ftp://h"}, {"ssl", "TRUE"}};
  EXPECT_THAT(login(), testing::Not(testing::Contains("USE_SSL=1")));
}

TEST_F(LoginOptions, ActiveModeLetsLibcurlChooseThePort) {
  settings = {{"active", "true"}};
  EXPECT_THAT(login(), testing::Contains("FTPPORT=\"-\""));
  settings = {{"active", "True"}};
  EXPECT_THAT(login(), testing::Not(testing::Contains("FTPPORT=\"-\"")));
}

TEST_F(LoginOptions, EmptyUserAndPasswordAreNotSet) {
  settings = {{"user", ""}, {"pwd", ""}};
  EXPECT_THAT(credentials(), IsEmpty());
}

TEST_F(LoginOptions, OfAKeyFileHoldItsPassPhraseAndNoPassword) {
  settings = {{"type", "sftp"}, {"user", "u"}, {"pwd", "p"}, {"key_file", "/k"}};
  EXPECT_THAT(credentials(), ElementsAre("USERNAME=\"u\"", "SSH_AUTH_TYPES=1", "SSH_PRIVATE_KEYFILE=\"/k\"",
                                         "KEYPASSWD=\"p\""));
}

TEST_F(LoginOptions, OfAKeyFileWithoutPassPhraseSetAnEmptyOne) {
  settings = {{"type", "sftp"}, {"key_file", "/k"}, {"proxy_type", "SOCKS5"}};
  const lines seen = login();
  EXPECT_THAT(seen, testing::Contains("KEYPASSWD=\"\""));
  EXPECT_THAT(seen, testing::Contains("PROXYUSERPWD=\":\""));
}

TEST_F(LoginOptions, NoProxyTypeOrNoneMeansNoProxyNotEvenTheEnvironments) {
  settings = {{"proxy_host", "h"}, {"proxy_port", "1"}, {"proxy_user", "u"}};
  EXPECT_THAT(proxy(), ElementsAre("PROXY=\"\"", "NOPROXY=\"\""));
  settings["proxy_type"] = "None";
  EXPECT_THAT(proxy(), ElementsAre("PROXY=\"\"", "NOPROXY=\"\""));
}

struct ProxyCase {
  const char* type;
  lines options;
};

TEST_F(LoginOptions, OfEachKindOfProxy) {
  const ProxyCase kCases[] = {
      {"SOCKS4", {"PROXYTYPE=4"}},
      {"SOCKS5", {"PROXYTYPE=5"}},
      {"HTTP with TUNNEL", {"HTTPPROXYTUNNEL=1", "PROXYTYPE=0"}},
      {"HTTP without TUNNEL", {"HTTPPROXYTUNNEL=0", "PROXYTYPE=0"}},
      {"HTTP", {}},
  };
  for (const ProxyCase& want : kCases) {
    settings = {{"proxy_type", want.type}, {"proxy_host", "h"}, {"proxy_port", "8080"}, {"proxy_user", "u"}};
    lines all = {"PROXY=\"h\"", "NOPROXY=\"\""};
    all.insert(all.end(), want.options.begin(), want.options.end());
    all.insert(all.end(), {"PROXYPORT=8080", "PROXYUSERPWD=\"u\""});
    EXPECT_EQ(proxy(), all) << want.type;
  }
}

TEST_F(LoginOptions, ALoginDoesNotGoOnWithoutWhatThereIsNoMemoryFor) {
  settings = {{"url", "ftp://h"},  {"user", "u"},       {"pwd", "p"},       {"proxy_type", "SOCKS5"},
              {"proxy_host", "h"}, {"proxy_port", "1"}, {"proxy_user", "u"}};
  for (const CURLoption option :
       {CURLOPT_URL, CURLOPT_USERNAME, CURLOPT_PASSWORD, CURLOPT_PROXY, CURLOPT_PROXYUSERPWD}) {
    refused_option = option;
    EXPECT_THROW(set_login_options(curl.get(), read_settings(settings)), std::bad_alloc) << option;
    refused_option = CURLOPT_LASTENTRY;
  }
}

TEST_F(LoginOptions, APortThatIsNoneIsNoReasonToFail) {
  settings = {{"proxy_type", "SOCKS5"}, {"proxy_port", "99999"}, {"proxy_user", "u"}};
  EXPECT_THAT(proxy(), ElementsAre("PROXY=\"\"", "NOPROXY=\"\"", "PROXYTYPE=5", "PROXYPORT=99999",
                                   "PROXYUSERPWD=\"u\""));
}

TEST_F(LoginOptions, ALoginDoesNotGoOnWithoutATextThatLibcurlDoesNotTake) {
  const std::string too_long(8000001, 'x');
  for (const char* name : {"url", "user", "pwd", "proxy_host", "proxy_user"}) {
    settings = {{"url", "ftp://h"}, {"proxy_type", "SOCKS5"}};
    settings[name] = too_long;
    EXPECT_THROW(set_login_options(curl.get(), read_settings(settings)), std::length_error) << name;
  }
}

}  // namespace
}  // namespace ftp_plugin
