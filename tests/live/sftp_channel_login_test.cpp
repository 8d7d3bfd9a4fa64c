// Logins of the SFTP channel against OpenSSH's server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "tests/live/sftp_channel_fixture.h"
#include "tests/servers/sshd.h"
#include "transport/pool/connection.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using servers::Sshd;
using testing::HasSubstr;

TEST_F(SftpChannel, IsRefusedWithAWrongPassword) {
  server_settings settings = login_settings(server());
  settings.login.password = "wrong";
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_LOGIN_DENIED);
}

TEST_F(SftpChannel, IsRefusedWithoutAUser) {
  const server_settings settings = read_settings({{key::type, "sftp"}, {key::url, server().url()}});
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_LOGIN_DENIED);
}

TEST_F(SftpChannel, LogsInWithTheCredentialsOfTheUrl) {
  std::string url = server().url();
  url.insert(url.find("//") + 2, "tester:p%40ss%20word@");
  const server_settings settings = read_settings({{key::type, "sftp"}, {key::url, url}});
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), CURLE_OK);
}

TEST(SftpChannelLogin, AnswersPromptsWithThePassword) {
  const Sshd server{{.password = false, .keyboard_interactive = true}};
  server_settings settings = login_settings(server);
  sftp_attributes got{};
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
  EXPECT_THAT(server.log(), HasSubstr("Accepted keyboard-interactive"));
  settings.login.password += "\0what libcurl does not read"s;
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
  settings.login.password = "wrong";
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_LOGIN_DENIED);
}

TEST(SftpChannelLogin, WorksOverIpv6) {
  const Sshd server{{.ipv6 = true}};
  const server_settings settings = login_settings(server);
  sftp_attributes got{};
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
}

TEST(SftpChannelLogin, TriesTheUsersOwnKeyWhenThePasswordIsRefused) {
  const Sshd server;
  server_settings settings = login_settings(server);
  settings.login.password = "wrong";
  sftp_attributes got{};
  const fs::path own = server.home() / ".ssh";
  fs::create_directory(own);
  fs::copy_file(server.key_file("ed25519"), own / "id_rsa");
  const char* home = std::getenv("HOME");
  const std::string before = home == nullptr ? "" : home;
  setenv("HOME", server.home().c_str(), 1);
  EXPECT_EQ(sftp_channel{settings}.stat("/", got), CURLE_OK);
  setenv("HOME", before.c_str(), 1);
}

struct KeyCase {
  const char* label;
  const char* kind;
  const char* pwd;
  const char* proxy_pwd;
  CURLcode want;
};
void PrintTo(const KeyCase& row, std::ostream* out) { *out << row.label; }

constexpr KeyCase kKeyCases[] = {
    {"Ed25519", "ed25519", "", "", CURLE_OK},
    {"Ecdsa", "ecdsa", "", "", CURLE_OK},
    {"Ed25519WithPassPhrase", "ed25519_phrase", "a phrase", "", CURLE_OK},
    {"EcdsaWithPassPhrase", "ecdsa_phrase", "a phrase", "", CURLE_OK},
    {"PassPhraseFromTheProxyPassword", "ed25519_phrase", "", "a phrase", CURLE_OK},
    {"ThePasswordComesBeforeTheProxyPassword", "ed25519_phrase", "wrong", "a phrase", CURLE_LOGIN_DENIED},
    {"WrongPassPhrase", "ed25519_phrase", "wrong", "", CURLE_LOGIN_DENIED},
    {"NoPassPhrase", "ecdsa_phrase", "", "", CURLE_LOGIN_DENIED},
    {"AKeyThatIsNotThere", "nothing", "", "", CURLE_LOGIN_DENIED},
    {"AFileThatIsNoKey", "sshd_config", "", "", CURLE_LOGIN_DENIED},
    {"WithAKeyThePasswordLogsNobodyIn", "nothing", "p@ss word", "", CURLE_LOGIN_DENIED},
};

class SftpKey : public testing::TestWithParam<KeyCase> {
 protected:
  static server_settings settings_for(const Sshd& server) {
    settings_map texts = {{key::type, "sftp"},
                          {key::url, server.url()},
                          {key::user, server.user()},
                          {key::key_file, server.key_file(GetParam().kind)}};
    if (*GetParam().pwd != '\0') texts[key::pwd] = GetParam().pwd;
    if (*GetParam().proxy_pwd != '\0') texts[key::proxy_pwd] = GetParam().proxy_pwd;
    return read_settings(texts);
  }
};

TEST_P(SftpKey, LogsInAsTheRulesSay) {
  static const Sshd server;
  const server_settings settings = settings_for(server);
  sftp_channel channel{settings};
  sftp_attributes got{};
  EXPECT_EQ(channel.stat("/", got), GetParam().want) << server.log();
}

TEST_P(SftpKey, LogsInLibcurlLikewise) {
  static const Sshd server;
  connection transfers{settings_for(server)};
  EXPECT_EQ(transfers.connect(), GetParam().want == CURLE_OK ? SUCCESS : ACCESS_DENIED) << server.log();
}

INSTANTIATE_TEST_SUITE_P(, SftpKey, testing::ValuesIn(kKeyCases),
                         [](const auto& row) { return row.param.label; });

}  // namespace
}  // namespace ftp_plugin
