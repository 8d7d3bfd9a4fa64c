#include "host/remote/connect_options.h"

#include <gtest/gtest.h>

#include "host/failure.h"

namespace ftp_host {
namespace {

TEST(Proxy, IsTakenApart) {
  const Proxy proxy = parse_proxy("http-tunnel://bob@proxy.example:3128");
  EXPECT_EQ(proxy.type, "HTTP with TUNNEL");
  EXPECT_EQ(proxy.host, "proxy.example");
  EXPECT_EQ(proxy.port, "3128");
  EXPECT_EQ(proxy.user, "bob");
  EXPECT_EQ(parse_proxy("socks5://[::1]:1080/").host, "[::1]");
}

TEST(Proxy, RefusesWhatItCannotUse) {
  for (const char* text :
       {"socks6://h:1", "h:1", "socks5://h", "socks5://h:x", "socks5://:1", "socks5://u:p@h:1"}) {
    EXPECT_THROW((void)parse_proxy(text), Failure) << text;
  }
}

TEST(ByteCount, KnowsUnits) {
  EXPECT_EQ(parse_byte_count("0", "x"), 0);
  EXPECT_EQ(parse_byte_count("512", "x"), 512);
  EXPECT_EQ(parse_byte_count("1.5k", "x"), 1536);
  EXPECT_EQ(parse_byte_count("2M", "x"), 2 * 1024 * 1024);
  for (const char* text : {"", "x", "1X", "-1", "1MM", "1e30", "nan"}) {
    EXPECT_THROW((void)parse_byte_count(text, "x"), Failure) << text;
  }
}

TEST(LoginValues, LogInAnonymouslyWithoutAUser) {
  const FieldValues values = login_values(parse_remote_url("ftp://h:2121/x"), {});
  EXPECT_EQ(values.at("anonymous"), true);
  EXPECT_EQ(values.at("url"), "ftp://h:2121");
  EXPECT_EQ(values.at("port"), "2121");
  EXPECT_EQ(values.at("ssl"), false);
}

TEST(LoginValues, CarryUserPasswordAndTls) {
  ConnectOptions options;
  options.user = "ann";
  options.password = "pw";
  const FieldValues values = login_values(parse_remote_url("ftps://[::1]/"), options);
  EXPECT_EQ(values.at("anonymous"), false);
  EXPECT_EQ(values.at("user"), "ann");
  EXPECT_EQ(values.at("password"), "pw");
  EXPECT_EQ(values.at("ssl"), true);
  EXPECT_EQ(values.at("port"), "");
}

TEST(OptionValues, NameTheChoicesOfTheDocument) {
  ConnectOptions options;
  options.charset = "utf8";
  options.proxy = parse_proxy("socks4://p:1");
  options.proxy.password = "s";
  const FieldValues values = option_values(options);
  EXPECT_EQ(values.at("charset"), "Force UTF-8");
  EXPECT_EQ(values.at("proxy_type"), "SOCKS4");
  EXPECT_EQ(values.at("proxy_password"), "s");
}

}  // namespace
}  // namespace ftp_host
