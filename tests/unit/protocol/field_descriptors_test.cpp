#include "protocol/field_descriptors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace ftp_plugin {
namespace {

constexpr const char* kAuthText =
    R"([{"data":[{"url":{"default":"ftp://host","label":"URL","optional":false,"read_only":false,"value":"string"}},)"
    R"({"port":{"label":"Port","optional":false,"read_only":false,"value":"string"}},)"
    R"({"ssl":{"label":"SSL/TLS","optional":false,"read_only":false,"value":"boolean"}},)"
    R"({"active":{"label":"Active mode","optional":false,"read_only":false,"value":"boolean"}},)"
    R"({"anonymous":{"label":"Anonymous","optional":false,"read_only":false,"value":"boolean"}},)"
    R"({"user":{"label":"User","optional":true,"read_only":false,"value":"string"}},)"
    R"({"password":{"label":"Password","optional":true,"read_only":false,"value":"password"}}],)"
    R"("default_visible":"expanded","name":"Connect Information","optional":"false"}])"
    "\n";

constexpr const char* kOptText =
    R"([{"data":[{"charset":{"label":"Charset","optional":false,"read_only":false,)"
    R"("value":"string:Autodetect/Force UTF-8/Local charset"}},)"
    R"({"use_server_time":{"label":"Use server time for files/folders","optional":false,"read_only":false,)"
    R"("value":"boolean"}}],"default_visible":"expanded","name":"Options","optional":"false"},)"
    R"({"data":[{"proxy_type":{"label":"Type","optional":false,"read_only":false,)"
    R"("value":"string:None/SOCKS4/SOCKS5/HTTP with TUNNEL/HTTP without TUNNEL"}},)"
    R"({"proxy_host":{"label":"Host","optional":false,"read_only":false,"value":"string"}},)"
    R"({"proxy_port":{"label":"Port","optional":false,"read_only":false,"value":"string"}},)"
    R"({"proxy_user":{"label":"User","optional":false,"read_only":false,"value":"string"}},)"
    R"({"proxy_password":{"label":"Password","optional":false,"read_only":false,"value":"password"}}],)"
    R"("default_visible":"collapsed","name":"Proxy","optional":"true"}])"
    "\n";

TEST(AuthFieldsText, IsOneLineWithTheUrlAndItsDefaultFirst) { EXPECT_EQ(auth_fields_text(), kAuthText); }

TEST(OptFieldsText, HoldsOptionsBeforeProxyWithTextForOptional) { EXPECT_EQ(opt_fields_text(), kOptText); }

struct DocumentCase {
  const char* label;
  AERROR (*write)(char* buffer, int* size);
  const char* text;
};

class Document : public testing::TestWithParam<DocumentCase> {};
INSTANTIATE_TEST_SUITE_P(, Document,
                         testing::Values(DocumentCase{"AuthFields", write_auth_fields, kAuthText},
                                         DocumentCase{"OptFields", write_opt_fields, kOptText}),
                         [](auto& row) { return row.param.label; });

TEST_P(Document, TellsTheSizeThatItNeedsAndIsThenWritten) {
  const std::string want = GetParam().text;
  int size = 0;
  EXPECT_EQ(GetParam().write(nullptr, &size), INSUFFICIENT_BUFFER);
  ASSERT_EQ(size, static_cast<int>(want.size()) + 1);
  std::vector<char> buffer(static_cast<std::size_t>(size), 'x');
  EXPECT_EQ(GetParam().write(buffer.data(), &size), SUCCESS);
  EXPECT_EQ(size, static_cast<int>(want.size()));
  EXPECT_STREQ(buffer.data(), want.c_str());
}

TEST(WriteText, LeavesABufferThatIsTooSmallAlone) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  int size = 4;
  EXPECT_EQ(write_text("12345", buffer, &size), INSUFFICIENT_BUFFER);
  EXPECT_EQ(size, 6);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "xxxxxxxx");
}

TEST(WriteText, AcceptsASizeWithoutRoomForTheZero) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  int size = 5;
  EXPECT_EQ(write_text("12345", buffer, &size), SUCCESS);
  EXPECT_EQ(size, 5);
  EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("12345\0xx", 8));
}

TEST(WriteText, ClearsTheRestOfTheStatedBuffer) {
  char buffer[10];
  std::memset(buffer, 'x', sizeof buffer);
  int size = 9;
  EXPECT_EQ(write_text("12345", buffer, &size), SUCCESS);
  EXPECT_EQ(size, 5);
  EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("12345\0\0\0\0x", 10));
}

TEST(WriteText, TakesANegativeSizeAsUnlimited) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  int size = -1;
  EXPECT_EQ(write_text("12345", buffer, &size), SUCCESS);
  EXPECT_EQ(size, 5);
  EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("12345\0xx", 8));
}

TEST(CreateItem, HasADefaultOnlyWhenOneIsGiven) {
  EXPECT_EQ(ProtocolUtil::createItem("key", "string", "Label", nullptr, true, false).ToText(),
            "{\"key\":{\"label\":\"Label\",\"optional\":false,\"read_only\":true,\"value\":\"string\"}}\n");
  EXPECT_EQ(ProtocolUtil::createItem("key", "boolean", "Label", "", false, true).ToText(),
            "{\"key\":{\"default\":\"\",\"label\":\"Label\",\"optional\":true,\"read_only\":false,"
            "\"value\":\"boolean\"}}\n");
}

TEST(CurlProxyType, ComparesNamesExactly) {
  const struct {
    const char* name;
    int type;
  } rows[] = {
      {"SOCKS4", 1},
      {"SOCKS5", 2},
      {"HTTP with TUNNEL", 3},
      {"HTTP without TUNNEL", 4},
      {"None", 0},
      {"socks5", 0},
      {"Socks5", 0},
      {"", 0},
      {"SOCKS", 0},
      {"SOCKS5 ", 0},
      {"HTTP", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ProtocolUtil::curlProxyType(row.name), row.type) << row.name;
  }
}

}  // namespace
}  // namespace ftp_plugin
