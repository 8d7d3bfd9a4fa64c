#include "protocol/server_url.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace ftp_plugin {
namespace {

using text = std::optional<std::string>;

struct UrlCase {
  const char* label;
  const char* given;
  const char* url;
  text ssl;
  text type;
  const char* root_path;
};

class ServerUrl : public testing::TestWithParam<UrlCase> {};

TEST_P(ServerUrl, IsTakenApart) {
  const UrlCase& want = GetParam();
  const server_url got = split_server_url(want.given);
  EXPECT_EQ(got.url, want.url);
  EXPECT_EQ(got.ssl, want.ssl);
  EXPECT_EQ(got.type, want.type);
  EXPECT_EQ(got.root_path, want.root_path);
}

const UrlCase kUrlCases[] = {
    {"TlsTravelsOutsideTheUrl", "ftps://host:2121/data/", "ftp://host:2121/data/", "true", "ftp", "/data"},
    {"Sftp", "sftp://host", "sftp://host", "false", "sftp", ""},
    {"NoSchemeWritesNoType", "host/dir", "host/dir", {}, {}, "/dir"},
    {"HostAndSlash", "ftp://host/", "ftp://host/", "false", "ftp", ""},
    {"HostOnly", "ftp://host", "ftp://host", "false", "ftp", ""},
    {"PathWithoutASlashAtItsEnd", "ftp://host/a/b", "ftp://host/a/b", "false", "ftp", "/a/b"},
    {"OneSlashIsTakenOffEachTime", "ftp://host/a///", "ftp://host/a///", "false", "ftp", "/a/"},
    {"TwoSlashesAfterTheHost", "ftp://host//", "ftp://host//", "false", "ftp", ""},
    {"ThreeSlashesAfterTheHost", "ftp://host///", "ftp://host///", "false", "ftp", "/"},
    {"CredentialsAndPortStay", "ftp://u:p@host:21/x", "ftp://u:p@host:21/x", "false", "ftp", "/x"},
    {"OnlyAPrefixIsAScheme", "x/ftps://host/dir", "x/ftps://host/dir", {}, {}, "/dir"},
    {"LetterCaseOfTheSchemeCounts", "FTP://host/dir", "FTP://host/dir", {}, {}, "/dir"},
    {"OtherSchemes", "http://host/dir", "http://host/dir", {}, {}, "/dir"},
    {"HalfAScheme", "ftp:/host/dir", "ftp:/host/dir", {}, {}, "/host/dir"},
    {"TlsSchemeInThePathStays", "ftps://host/ftps://x", "ftp://host/ftps://x", "true", "ftp", "/ftps://x"},
    {"SchemeOnly", "ftp://", "ftp://", "false", "ftp", ""},
    {"TlsSchemeOnly", "ftps://", "ftp://", "true", "ftp", ""},
    {"PathWithoutAHost", "ftp:///dir", "ftp:///dir", "false", "ftp", "/dir"},
    {"SlashOnly", "/", "/", {}, {}, ""},
    {"TwoSlashesOnly", "//", "//", {}, {}, ""},
    {"Empty", "", "", {}, {}, ""},
};
INSTANTIATE_TEST_SUITE_P(, ServerUrl, testing::ValuesIn(kUrlCases),
                         [](auto& row) { return row.param.label; });

}  // namespace
}  // namespace ftp_plugin
