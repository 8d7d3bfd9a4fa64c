#include "transport/request/curl_logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/transport/http_responder.h"
#include "tests/unit/transport/recording_log.h"
#include "transport/request/curl_callbacks.h"

namespace ftp_plugin {
namespace {

using testing::MatchesRegex;
using testing_tools::http_reply;
using testing_tools::http_request;
using testing_tools::http_responder;
using testing_tools::recording_log;

/// An address on which nothing listens.
std::string refusing_url() {
  const http_responder gone;
  return gone.url("/gone");
}

TEST(CURLLogger, HasNoLastUrlAndNoErrorAtFirst) {
  const CURLLogger request;
  EXPECT_EQ(request.GetLastURL(), "");
  EXPECT_STREQ(request.GetErrorText(), "");
}

TEST(CURLLogger, KeepsTheTextOfAFailure) {
  CURLLogger request;
  request.SetURL(refusing_url().c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_COULDNT_CONNECT);
  EXPECT_THAT(request.GetErrorText(), testing::HasSubstr("127.0.0.1"));
}

TEST(CURLLogger, RemembersTheLastUrlWithItsQueryUnescaped) {
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a%20b").c_str());
  request.AddQuery("q", "x y&%41");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(request.GetLastURL(), server.url("/a b?q=x y&A"));
  EXPECT_EQ(server.last().target, "/a%20b?q=x%20y%26%2541");
}

TEST(CURLLogger, JoinsTheLastUrlWithAnAmpersandWhenItHasAQueryAlready) {
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a?b=1").c_str());
  request.AddQuery("q", 2);
  EXPECT_EQ(request.PerformPost("body").result, CURLE_OK);
  EXPECT_EQ(request.GetLastURL(), server.url("/a?b=1&q=2"));
}

TEST(CURLLogger, KeepsTheLastUrlOverClear) {
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a").c_str());
  (void)request.PerformGet(nullptr, nullptr);
  request.Clear();
  EXPECT_EQ(request.GetLastURL(), server.url("/a"));
}

TEST(PerfLine, NamesTheUrlWithoutQueryAndTheBodyOfADownload) {
  const recording_log log;
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a").c_str());
  request.AddQuery("q", 1);
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).body_length, 5U);
  const auto lines = log.lines("[PERF");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].level, LOGLEVEL_INFO);
  EXPECT_THAT(lines[0].text, MatchesRegex("\\[PERF      \\] Download [0-9]+b/s : http://127.0.0.1:[0-9]+/a"
                                          "\\(5 bytes\\)"));
}

TEST(PerfLine, IsWrittenTwiceForAPostedText) {
  const recording_log log;
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a").c_str());
  EXPECT_EQ(request.PerformPost("four").result, CURLE_OK);
  const auto lines = log.lines("[PERF");
  ASSERT_EQ(lines.size(), 2U);
  const std::string begin =
      "\\[PERF      \\] Upload [0-9]+b/s / Download [0-9]+b/s : http://127.0.0.1:[0-9]+/a";
  EXPECT_THAT(lines[0].text,
              MatchesRegex(begin + "\\(-1 / 5 bytes\\)"));  // the inner one does not know the size
  EXPECT_THAT(lines[1].text, MatchesRegex(begin + "\\(4 / 5 bytes\\)"));
  EXPECT_EQ(lines[1].level, LOGLEVEL_INFO);
}

TEST(PerfLine, TellsTheSizeThatAReadFunctionAnnounced) {
  const recording_log log;
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a").c_str());
  read_cursor cursor{"0123456", 0, 7};
  EXPECT_EQ(request.PerformPost(reinterpret_cast<void*>(&read_from_cursor), &cursor, 7).result, CURLE_OK);
  const auto lines = log.lines("[PERF");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0].text, testing::EndsWith("/a(7 / 5 bytes)"));
}

TEST(PerfLine, IsWrittenAfterAFailureToo) {
  const recording_log log;
  CURLLogger request;
  const std::string url = refusing_url();
  request.SetURL(url.c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_COULDNT_CONNECT);
  const auto lines = log.lines("[PERF");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "[PERF      ] Download 0b/s : " + url + "(0 bytes)");
}

TEST(CURLLogger, WorksWithoutALogger) {
  unbind_logger();
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).response_code, 200);
  EXPECT_EQ(request.PerformPost("x").response_code, 200);
}

TEST(InstallLogger, TracesTheRequestWhenTheHostIsTracing) {
  const recording_log log{1};
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/traced").c_str());
  request.AddHeader("Authorization", "Bearer t0ken");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_FALSE(log.lines("[NETWORK   ] [INFORMATION] ").empty());
  EXPECT_FALSE(log.lines("[NETWORK   ] [HEADER   >>] HTTP/1.1 200 OK\r\n").empty());
  const auto sent = log.lines("[NETWORK   ] [HEADER   <<] GET /traced HTTP/1.1\r\n");
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_THAT(sent[0].text, testing::HasSubstr("\r\nAuthorization: ***\r\n"));
  for (const auto& line : log.lines()) EXPECT_THAT(line.text, testing::Not(testing::HasSubstr("t0ken")));
  EXPECT_EQ(server.last().headers.at("authorization"), "Bearer t0ken");
}

TEST(InstallLogger, LooksAtTheLowestBitOnly) {
  const recording_log log{6};
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/quiet").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_TRUE(log.lines("[NETWORK").empty());
}

TEST(InstallLogger, StopsTracingWhenTheHostDoes) {
  const http_responder server;
  CURLLogger request;
  request.SetURL(server.url("/a").c_str());
  {
    const recording_log tracing{1};
    EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
    EXPECT_FALSE(tracing.lines("[NETWORK").empty());
  }
  const recording_log quiet{0};
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_TRUE(quiet.lines("[NETWORK").empty());
}

}  // namespace
}  // namespace ftp_plugin
