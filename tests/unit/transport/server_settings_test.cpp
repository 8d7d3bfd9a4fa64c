// What the texts of the settings mean.
#include "transport/server_settings.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

namespace ftp_plugin {
namespace {

TEST(ServerSettings, OfAnEmptyMapAskForNothing) {
  const server_settings server = read_settings({});
  EXPECT_EQ(server.url, "");
  EXPECT_EQ(server.scheme, url_scheme::kNone);
  EXPECT_EQ(server.kind, server_kind::kUnknown);
  EXPECT_FALSE(server.is_sftp());
  EXPECT_FALSE(server.wants_tls());
  EXPECT_FALSE(server.active_mode);
  EXPECT_EQ(server.charset, charset_choice::kAutomatic);
  EXPECT_EQ(server.proxy.kind, proxy_kind::kNone);
}

TEST(ServerSettings, ASchemeIsNamedAtTheBeginningInSmallLetters) {
  EXPECT_EQ(read_settings({{"url", "ftp://"}}).scheme, url_scheme::kFtp);
  EXPECT_EQ(read_settings({{"url", "ftps://h"}}).scheme, url_scheme::kFtps);
  EXPECT_EQ(read_settings({{"url", "sftp://h/x"}}).scheme, url_scheme::kSftp);
  for (const char* url :
       {"", "ftp:/h", "FTP://h", " ftp://h", "h/ftp://", "ftp.h", "http://h", "sftps://h"}) {
    EXPECT_EQ(scheme_of(url), url_scheme::kNone) << url;
  }
}

TEST(ServerSettings, AKindIsNamedExactly) {
  EXPECT_EQ(read_settings({{"type", "ftp"}}).kind, server_kind::kFtp);
  EXPECT_TRUE(read_settings({{"type", "sftp"}, {"url", "ftp://h"}}).is_sftp());
  for (const char* type : {"", "FTP", "ftps", "sftp "}) {
    EXPECT_EQ(read_settings({{"type", type}, {"url", "sftp://h"}}).kind, server_kind::kUnknown) << type;
  }
}

TEST(ServerSettings, OnlyTheTextTrueIsTrue) {
  const auto read = [](const char* value) { return read_settings({{"ssl", value}, {"active", value}}); };
  EXPECT_TRUE(read("true").asks_for_tls);
  EXPECT_TRUE(read("true").active_mode);
  for (const char* value : {"false", "TRUE", "True", "1", "true ", ""}) {
    EXPECT_FALSE(read(value).asks_for_tls) << value;
    EXPECT_FALSE(read(value).active_mode) << value;
  }
}

TEST(ServerSettings, AnImplicitUrlWantsTlsAsWell) {
  EXPECT_TRUE(read_settings({{"url", "ftps://h"}}).wants_tls());
  EXPECT_TRUE(read_settings({{"url", "ftp://h"}, {"ssl", "true"}}).wants_tls());
  EXPECT_FALSE(read_settings({{"url", "ftp://ftps://"}}).wants_tls());
}

TEST(ServerSettings, EveryOtherCharsetIsTheServersChoice) {
  EXPECT_EQ(read_settings({{"charset", "local"}}).charset, charset_choice::kLocal);
  EXPECT_EQ(read_settings({{"charset", "utf8"}}).charset, charset_choice::kUtf8);
  for (const char* charset : {"auto", "", "UTF8", "Local"}) {
    EXPECT_EQ(read_settings({{"charset", charset}}).charset, charset_choice::kAutomatic) << charset;
  }
}

struct CredentialsCase {
  const char* label;
  settings_map settings;
  credentials want;
};

const CredentialsCase kCredentialsCases[] = {
    {"Password", {{"type", "ftp"}, {"user", "u"}, {"pwd", "p"}}, {"u", "p", "", ""}},
    {"AKeyFileCountsOnSftpOnly", {{"type", "ftp"}, {"key_file", "/k"}, {"pwd", "p"}}, {"", "p", "", ""}},
    {"AnEmptyKeyFileIsNone", {{"type", "sftp"}, {"key_file", ""}, {"pwd", "p"}}, {"", "p", "", ""}},
    {"APasswordIsThePassPhraseOfAKeyFileAndNothingElse",
     {{"type", "sftp"}, {"user", "u"}, {"pwd", "p"}, {"key_file", "/k"}, {"proxy_pwd", "x"}},
     {"u", "", "/k", "p"}},
    {"WithoutAPasswordTheProxysIsThePassPhrase",
     {{"type", "sftp"}, {"key_file", "/k"}, {"pwd", ""}, {"proxy_pwd", "x"}},
     {"", "", "/k", "x"}},
    {"TheProxysPasswordLogsNobodyIn", {{"type", "sftp"}, {"proxy_pwd", "x"}}, {"", "", "", ""}},
};

class Credentials : public testing::TestWithParam<CredentialsCase> {};

TEST_P(Credentials, AreDecidedOnce) {
  const credentials got = read_settings(GetParam().settings).login;
  const credentials& want = GetParam().want;
  EXPECT_EQ(std::tie(got.user, got.password, got.key_file, got.pass_phrase),
            std::tie(want.user, want.password, want.key_file, want.pass_phrase));
}

INSTANTIATE_TEST_SUITE_P(, Credentials, testing::ValuesIn(kCredentialsCases),
                         [](const auto& row) { return row.param.label; });

TEST(ServerSettings, OnlyALineBreakKeepsCredentialsOutOfACommand) {
  EXPECT_TRUE(is_one_line({}));
  EXPECT_TRUE(is_one_line(read_settings({{"user", "a b:c@\t"}, {"pwd", ""}, {"proxy_pwd", "\n"}}).login));
  EXPECT_FALSE(is_one_line(read_settings({{"user", "\r"}}).login));
  EXPECT_FALSE(is_one_line(read_settings({{"pwd", "secret\n"}}).login));
  EXPECT_FALSE(
      is_one_line(read_settings({{"type", "sftp"}, {"key_file", "/k"}, {"pwd", "pass\nphrase"}}).login));
}

TEST(ServerSettings, EachKindOfProxyHasItsName) {
  const std::pair<const char*, proxy_kind> kKinds[] = {
      {"None", proxy_kind::kNone},
      {"SOCKS4", proxy_kind::kSocks4},
      {"SOCKS5", proxy_kind::kSocks5},
      {"HTTP with TUNNEL", proxy_kind::kHttpTunnel},
      {"HTTP without TUNNEL", proxy_kind::kHttp},
      {"HTTP", proxy_kind::kUnnamed},
      {"socks5", proxy_kind::kUnnamed},
      {"none", proxy_kind::kUnnamed},
      {"", proxy_kind::kUnnamed},
  };
  for (const auto& [name, kind] : kKinds) {
    EXPECT_EQ(read_settings({{"proxy_type", name}}).proxy.kind, kind) << name;
  }
}

TEST(ServerSettings, WithoutAProxyTypeNothingOfTheProxyCounts) {
  for (const settings_map& type : {settings_map{}, settings_map{{"proxy_type", "None"}}}) {
    settings_map settings = type;
    settings.insert({{"proxy_host", "h"}, {"proxy_port", "1"}, {"proxy_user", "u"}});
    const proxy_settings proxy = read_settings(settings).proxy;
    EXPECT_EQ(proxy.kind, proxy_kind::kNone);
    EXPECT_EQ(proxy.host, "");
    EXPECT_EQ(proxy.port, 0);
    EXPECT_EQ(proxy.credentials, "");
  }
}

TEST(ServerSettings, AProxyPortThatIsNoNumberIsZero) {
  const auto port = [](const char* text) {
    return read_settings({{"proxy_type", "SOCKS5"}, {"proxy_port", text}}).proxy.port;
  };
  EXPECT_EQ(port("8080"), 8080);
  EXPECT_EQ(port("8080x"), 8080);
  EXPECT_EQ(port("abc"), 0);
  EXPECT_EQ(port(""), 0);
}

TEST(ServerSettings, ProxyUserAndPasswordMakeOneText) {
  const auto text = [](settings_map more) {
    more["proxy_type"] = "SOCKS5";
    return read_settings(more).proxy.credentials;
  };
  EXPECT_EQ(text({{"proxy_user", "u"}, {"proxy_pwd", "p"}}), "u:p");
  EXPECT_EQ(text({{"proxy_user", "u"}}), "u");
  EXPECT_EQ(text({{"proxy_pwd", "p"}}), ":p");
  EXPECT_EQ(text({{"proxy_user", ""}}), "");
  EXPECT_EQ(text({{"proxy_password", "p"}}), "") << "the login document's own key is not read";
}

TEST(ServerSettings, AKeyFileWithoutPassPhraseMakesTheProxySendAColon) {
  settings_map settings = {{"type", "sftp"}, {"key_file", "/k"}, {"proxy_type", "SOCKS5"}};
  EXPECT_EQ(read_settings(settings).proxy.credentials, ":");
  settings["proxy_user"] = "u";
  EXPECT_EQ(read_settings(settings).proxy.credentials, "u:");
  settings["pwd"] = "p";
  EXPECT_EQ(read_settings(settings).proxy.credentials, "u:") << "also with a pass phrase";
  settings["type"] = "ftp";
  EXPECT_EQ(read_settings(settings).proxy.credentials, "u");
}

}  // namespace
}  // namespace ftp_plugin
