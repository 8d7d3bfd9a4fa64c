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
    return options_of([this] { set_login_options(curl.get(), settings); });
  }
  lines proxy() {
    return options_of([this] { set_proxy_options(curl.get(), settings); });
  }
  lines credentials() {
    return options_of([this] { set_credentials(curl.get(), settings); });
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

TEST_F(LoginOptions, WithoutAUrlTheKeyIsStoredAsEmptyText) {
  EXPECT_EQ(login().front(), "URL=\"\"");
  EXPECT_EQ(settings.count("url"), 1U);
}

TEST_F(LoginOptions, OfATlsServerTryTlsAndCheckNothing) {
  settings = {{"url", "ftp://h"}, {"ssl", "true"}};
  EXPECT_THAT(login(), ElementsAre("URL=\"ftp://h\"", "PROTOCOLS_STR=\"ftp,ftps,sftp\"", "SSL_VERIFYPEER=0",
                                   "SSL_VERIFYHOST=0", "USE_SSL=1", "PROXY=\"\"", "NOPROXY=\"\"", "NOBODY=1",
                                   "VERBOSE=1", "DEBUGFUNCTION=set"));
}

TEST_F(LoginOptions, TrueInOtherLettersAsksForNoTls) {
  settings = {{"url", "ftp://h"}, {"ssl", "TRUE"}};
  EXPECT_THAT(login(), testing::Not(testing::Contains("USE_SSL=1")));
  EXPECT_FALSE(wants_tls(settings));
}

TEST_F(LoginOptions, AnImplicitUrlWantsTlsAsWell) {
  EXPECT_TRUE(wants_tls({{"url", "ftps://h"}}));
  EXPECT_TRUE(wants_tls({{"url", "ftp://h"}, {"ssl", "true"}}));
  EXPECT_FALSE(wants_tls({{"url", "ftp://ftps://"}}));
  EXPECT_FALSE(wants_tls({}));
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

TEST_F(LoginOptions, APasswordIsThePassPhraseOfAKeyFileAndNothingElse) {
  settings = {{"type", "sftp"}, {"user", "u"}, {"pwd", "p"}, {"key_file", "/k"}, {"proxy_pwd", "x"}};
  EXPECT_THAT(credentials(), ElementsAre("USERNAME=\"u\"", "SSH_AUTH_TYPES=1", "SSH_PRIVATE_KEYFILE=\"/k\"",
                                         "KEYPASSWD=\"x\"", "KEYPASSWD=\"p\""));
}

TEST_F(LoginOptions, WithoutAPasswordTheProxysIsThePassPhrase) {
  settings = {{"type", "sftp"}, {"key_file", "/k"}, {"pwd", ""}, {"proxy_pwd", "x"}};
  EXPECT_THAT(credentials(),
              ElementsAre("SSH_AUTH_TYPES=1", "SSH_PRIVATE_KEYFILE=\"/k\"", "KEYPASSWD=\"x\""));
}

TEST_F(LoginOptions, KeyFileWithoutPassPhraseMakesTheProxySendAColon) {
  settings = {{"type", "sftp"}, {"key_file", "/k"}, {"proxy_type", "SOCKS5"}};
  const lines seen = login();
  EXPECT_THAT(seen, testing::Contains("KEYPASSWD=\"\""));
  EXPECT_THAT(seen, testing::Contains("PROXYUSERPWD=\":\""));
  EXPECT_EQ(settings.count("proxy_pwd"), 1U);
}

TEST_F(LoginOptions, AKeyFileCountsOnSftpOnly) {
  settings = {{"type", "ftp"}, {"key_file", "/k"}, {"pwd", "p"}};
  EXPECT_THAT(credentials(), ElementsAre("PASSWORD=\"p\""));
  EXPECT_EQ(settings.count("proxy_pwd"), 0U);
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
      {"socks5", {}},
      {"", {}},
  };
  for (const ProxyCase& want : kCases) {
    settings = {{"proxy_type", want.type}, {"proxy_host", "h"}, {"proxy_port", "8080"}};
    lines all = {"PROXY=\"\"", "NOPROXY=\"\"", "VERBOSE=1"};
    all.insert(all.end(), want.options.begin(), want.options.end());
    all.insert(all.end(), {"PROXY=\"h\"", "PROXYPORT=8080"});
    EXPECT_EQ(proxy(), all) << want.type;
  }
}

TEST_F(LoginOptions, AProxyPortThatIsNoNumberIsZero) {
  settings = {{"proxy_type", "SOCKS5"}, {"proxy_port", "abc"}};
  EXPECT_THAT(proxy(), ElementsAre("PROXY=\"\"", "NOPROXY=\"\"", "VERBOSE=1", "PROXYTYPE=5", "PROXYPORT=0"));
}

TEST_F(LoginOptions, ProxyUserAndPasswordMakeOneText) {
  const auto text = [this](settings_map more) {
    settings = std::move(more);
    settings["proxy_type"] = "SOCKS5";
    const lines seen = proxy();
    return seen.size() == 4 ? "" : seen.back();
  };
  EXPECT_EQ(text({{"proxy_user", "u"}, {"proxy_pwd", "p"}}), "PROXYUSERPWD=\"u:p\"");
  EXPECT_EQ(text({{"proxy_user", "u"}}), "PROXYUSERPWD=\"u\"");
  EXPECT_EQ(text({{"proxy_pwd", "p"}}), "PROXYUSERPWD=\":p\"");
  EXPECT_EQ(text({{"proxy_user", ""}}), "");
  EXPECT_EQ(text({{"proxy_password", "p"}}), "") << "the login document's own key is not read";
}

TEST_F(LoginOptions, ALoginDoesNotGoOnWithoutWhatThereIsNoMemoryFor) {
  settings = {{"url", "ftp://h"},  {"user", "u"},       {"pwd", "p"},       {"proxy_type", "SOCKS5"},
              {"proxy_host", "h"}, {"proxy_port", "1"}, {"proxy_user", "u"}};
  for (const CURLoption option :
       {CURLOPT_URL, CURLOPT_USERNAME, CURLOPT_PASSWORD, CURLOPT_PROXY, CURLOPT_PROXYUSERPWD}) {
    refused_option = option;
    EXPECT_THROW(set_login_options(curl.get(), settings), std::bad_alloc) << option;
    refused_option = CURLOPT_LASTENTRY;
  }
}

TEST_F(LoginOptions, APortThatIsNoneIsNoReasonToFail) {
  settings = {{"proxy_type", "SOCKS5"}, {"proxy_port", "99999"}, {"proxy_user", "u"}};
  EXPECT_THAT(proxy(), ElementsAre("PROXY=\"\"", "NOPROXY=\"\"", "VERBOSE=1", "PROXYTYPE=5",
                                   "PROXYPORT=99999", "PROXYUSERPWD=\"u\""));
}

TEST_F(LoginOptions, ALoginDoesNotGoOnWithoutATextThatLibcurlDoesNotTake) {
  const std::string too_long(8000001, 'x');
  for (const char* name : {"url", "user", "pwd", "proxy_host", "proxy_user"}) {
    settings = {{"url", "ftp://h"}, {"proxy_type", "SOCKS5"}};
    settings[name] = too_long;
    EXPECT_THROW(set_login_options(curl.get(), settings), std::length_error) << name;
  }
}

TEST_F(LoginOptions, ASchemeIsNamedAtTheBeginningInSmallLetters) {
  for (const char* url : {"ftp://", "ftps://h", "sftp://h/x"})
    EXPECT_TRUE(names_scheme({{"url", url}})) << url;
  for (const char* url :
       {"", "ftp:/h", "FTP://h", " ftp://h", "h/ftp://", "ftp.h", "http://h", "sftps://h"}) {
    EXPECT_FALSE(names_scheme({{"url", url}})) << url;
  }
  EXPECT_FALSE(names_scheme({}));
}

TEST_F(LoginOptions, OnlyALineBreakKeepsACredentialOutOfACommand) {
  EXPECT_TRUE(fit_into_commands({}));
  EXPECT_TRUE(fit_into_commands({{"user", "a b:c@\t"}, {"pwd", ""}, {"proxy_pwd", "\n"}}));
  EXPECT_FALSE(fit_into_commands({{"user", "\r"}}));
  EXPECT_FALSE(fit_into_commands({{"pwd", "secret\n"}}));
}

}  // namespace
}  // namespace ftp_plugin
