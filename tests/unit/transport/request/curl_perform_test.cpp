// Performing a request: what the web server sees, and what comes back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/unit/transport/http_responder.h"
#include "tests/unit/transport/request/web_request.h"
#include "transport/request/curl_callbacks.h"
#include "transport/request/curl_impl.h"

namespace ftp_plugin {
namespace {

using testing_tools::http_reply;
using testing_tools::http_request;
using testing_tools::http_responder;

TEST(PerformGet, SplitsTheAnswerIntoHeaderAndBody) {
  const http_responder server{
      [](const http_request&) { return http_reply("201 Created", "X-Note: a\r\n", "the body"); }};
  CURLImpl request;
  request.SetURL(server.url("/").c_str());
  const curl_response response = request.PerformGet(nullptr, nullptr);
  EXPECT_EQ(response.result, CURLE_OK);
  EXPECT_EQ(response.response_code, 201);
  EXPECT_EQ(header_of(response),
            "HTTP/1.1 201 Created\r\nConnection: close\r\nX-Note: a\r\nContent-Length: 8\r\n\r\n");
  EXPECT_EQ(body_of(response), "the body");
  EXPECT_EQ(response.header[static_cast<std::ptrdiff_t>(response.header_length)], '\0');
  EXPECT_EQ(response.body[static_cast<std::ptrdiff_t>(response.body_length)], '\0');
  EXPECT_GT(response.download_speed, 0.0);
}

TEST(PerformGet, GivesAnEmptyBodyAsABufferOfItsOwn) {
  const http_responder server{[](const http_request&) { return http_reply("204 No Content", "", ""); }};
  CURLImpl request;
  request.SetURL(server.url("/").c_str());
  const curl_response response = request.PerformGet(nullptr, nullptr);
  ASSERT_NE(response.body, nullptr);
  EXPECT_EQ(response.body_length, 0U);
  EXPECT_STREQ(response.body.get(), "");
}

TEST(PerformGet, SendsQueryHeadersAgentAndEncodings) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/path").c_str());
  request.AddQuery("q", "a b");
  request.AddHeader("X-Mine", 7);
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  const http_request seen = server.last();
  EXPECT_EQ(seen.method, "GET");
  EXPECT_EQ(seen.target, "/path?q=a%20b");
  EXPECT_EQ(seen.headers.at("x-mine"), "7");
  EXPECT_EQ(seen.headers.at("user-agent"), "Nimbora(gzip)");
  EXPECT_THAT(seen.headers.at("accept-encoding"), testing::HasSubstr("gzip"));
}

TEST(PerformGet, JoinsTheQueryWithAQuestionMarkInEveryCase) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/path?a=1").c_str());
  request.AddQuery("b", 2);
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(server.last().target, "/path?a=1?b=2");
}

TEST(PerformGet, UsesTheMethodOfItsOwnUntilCleared) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/x").c_str());
  request.SetRequest("DELETE");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(server.last().method, "DELETE");
  request.Clear();
  expect_get(request, server.url("/x"));
  EXPECT_EQ(server.last().method, "GET");
}

TEST(PerformGet, LeavesTheBodyToTheWriteFunctionOfTheCaller) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/x").c_str());
  std::string got;
  const curl_response response = request.PerformGet(as_pointer(&append_to_string), &got);
  EXPECT_EQ(response.result, CURLE_OK);
  EXPECT_EQ(response.response_code, 200);
  EXPECT_EQ(got, "hello");  // no header in it
  EXPECT_EQ(response.header, nullptr);
  EXPECT_EQ(response.body, nullptr);
}

TEST(PerformGet, FollowsARedirectAndKeepsEveryHeader) {
  const http_responder server{[](const http_request& request) {
    return request.target == "/from" ? http_reply("302 Found", "Location: /to\r\n", "ignored")
                                     : http_reply("200 OK", "", "arrived");
  }};
  CURLImpl request;
  request.SetURL(server.url("/from").c_str());
  const curl_response response = request.PerformGet(nullptr, nullptr);
  EXPECT_EQ(response.response_code, 200);
  EXPECT_EQ(body_of(response), "arrived");
  EXPECT_THAT(header_of(response), testing::StartsWith("HTTP/1.1 302 Found\r\n"));
  EXPECT_THAT(header_of(response), testing::HasSubstr("HTTP/1.1 200 OK\r\n"));
}

TEST(PerformGet, GivesUpAfterThirtyTwoRedirects) {
  const http_responder server{
      [](const http_request&) { return http_reply("302 Found", "Location: /again\r\n", ""); }};
  CURLImpl request;
  request.SetURL(server.url("/").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_TOO_MANY_REDIRECTS);
  EXPECT_EQ(server.requests().size(), 33U);
}

TEST(PerformGet, ReportsAFailureByItsCodeAlone) {
  std::string url;
  {
    const http_responder gone;
    url = gone.url("/");
  }
  CURLImpl request;
  request.SetURL(url.c_str());
  const curl_response response = request.PerformGet(nullptr, nullptr);
  EXPECT_EQ(response.result, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(response.response_code, 0);
  EXPECT_EQ(response.header, nullptr);
  EXPECT_EQ(response.body, nullptr);
}

TEST(AtRest, NothingReachesTheStandardOutputOfTheHost) {
  const http_responder server;
  CURLImpl request;
  curl_easy_setopt(request.GetCURL(), CURLOPT_URL, server.url("/bare").c_str());
  testing::internal::CaptureStdout();
  EXPECT_EQ(curl_easy_perform(request.GetCURL()), CURLE_OK);
  request.Clear();
  EXPECT_EQ(curl_easy_setopt(request.GetCURL(), CURLOPT_HTTPGET, 1L), CURLE_OK);
  EXPECT_EQ(curl_easy_perform(request.GetCURL()), CURLE_OK);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST(AtRest, ThePerformedRequestLeavesNoPointerBehind) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/first").c_str());
  request.AddHeader("X-Mine", 1);
  std::string got;
  EXPECT_EQ(request.PerformGet(as_pointer(&append_to_string), &got).result, CURLE_OK);
  EXPECT_EQ(request.PerformPost("text").result, CURLE_OK);
  EXPECT_EQ(curl_easy_setopt(request.GetCURL(), CURLOPT_HTTPGET, 1L), CURLE_OK);
  EXPECT_EQ(curl_easy_perform(request.GetCURL()), CURLE_OK);
  EXPECT_EQ(server.last().headers.count("x-mine"), 0U);
  EXPECT_EQ(got, "hello");
}

TEST(PerformPost, SendsATextInChunks) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/post").c_str());
  const curl_response response = request.PerformPost("the posted text");
  EXPECT_EQ(response.result, CURLE_OK);
  EXPECT_EQ(body_of(response), "hello");
  EXPECT_THAT(header_of(response), testing::HasSubstr("HTTP/1.1 200 OK\r\n"));
  const http_request seen = server.last();
  EXPECT_EQ(seen.method, "POST");
  EXPECT_EQ(seen.body, "the posted text");
  EXPECT_EQ(seen.headers.at("transfer-encoding"), "chunked");
}

TEST(PerformPost, SendsAnEmptyText) {
  const http_responder server;
  CURLImpl request;
  expect_post(request, server.url("/post"), "");
  EXPECT_EQ(server.last().method, "POST");
  EXPECT_EQ(server.last().body, "");
}

TEST(PerformPost, SendsALongTextWithZeroBytesWhole) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/post").c_str());
  std::string text;
  for (int i = 0; i < 300000; ++i) text += static_cast<char>(i % 251);
  EXPECT_EQ(request.PerformPost(text).result, CURLE_OK);
  EXPECT_EQ(server.last().body, text);
}

TEST(PerformPost, AppendsTheQueryToTheUrl) {
  const http_responder server;
  CURLImpl request;
  request.AddQuery("q", "a b");
  expect_post(request, server.url("/post"), "x");
  EXPECT_EQ(server.last().target, "/post?q=a%20b");
  expect_post(request, server.url("/post?p=1"), "x");
  EXPECT_EQ(server.last().target, "/post?p=1&q=a%20b");
}

TEST(PerformPost, AnnouncesTheSizeThatTheCallerKnows) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/post").c_str());
  read_cursor cursor{"0123456789", 0, 10};
  EXPECT_EQ(request.PerformPost(as_pointer(&read_from_cursor), &cursor, 10).result, CURLE_OK);
  EXPECT_EQ(server.last().body, "0123456789");
  EXPECT_EQ(server.last().headers.at("content-length"), "10");
}

TEST(PerformPost, MakesTheQueryTheBodyWithoutAReadFunction) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/post").c_str());
  request.AddQuery("q", "a b");
  EXPECT_EQ(request.PerformPost(nullptr, nullptr, -1).result, CURLE_OK);
  EXPECT_EQ(server.last().target, "/post");
  EXPECT_EQ(server.last().body, "q=a%20b");
  EXPECT_EQ(server.last().headers.at("content-length"), "7");
}

TEST(PerformPost, CutsTheQueryToTheGivenSizeAndNeverReadsBeyondIt) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/post").c_str());
  request.AddQuery("q", "value");
  EXPECT_EQ(request.PerformPost(nullptr, nullptr, 3).result, CURLE_OK);
  EXPECT_EQ(server.last().body, "q=v");
  EXPECT_EQ(request.PerformPost(nullptr, nullptr, 1000).result, CURLE_OK);
  EXPECT_EQ(server.last().body, "q=value");
  EXPECT_EQ(request.PerformPost(nullptr, nullptr, -7).result, CURLE_OK);
  EXPECT_EQ(server.last().body, "q=value");
}

TEST(PerformPost, SendsTheTextAgainAfterARedirectThatKeepsTheMethod) {
  const http_responder server{[](const http_request& request) {
    return request.target == "/from" ? http_reply("307 Temporary Redirect", "Location: /to\r\n", "")
                                     : http_reply("200 OK", "", "arrived");
  }};
  CURLImpl request;
  request.SetURL(server.url("/from").c_str());
  const curl_response response = request.PerformPost("sent twice");
  EXPECT_EQ(response.result, CURLE_OK);
  EXPECT_EQ(body_of(response), "arrived");
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].body, "sent twice");
  EXPECT_EQ(seen[1].target, "/to");
  EXPECT_EQ(seen[1].method, "POST");
  EXPECT_EQ(seen[1].body, "sent twice");
}

TEST(PerformPost, SendsAFormAsTheBody) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/form").c_str());
  request.SetPost(new_form());
  EXPECT_EQ(request.PerformPost(nullptr, nullptr, -1).result, CURLE_OK);
  EXPECT_THAT(server.last().headers.at("content-type"), testing::StartsWith("multipart/form-data"));
  EXPECT_THAT(server.last().body, testing::HasSubstr("name=\"field\"\r\n\r\nform value\r\n"));
}

TEST(PerformPost, PrefersTheFormToAReadFunction) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/form").c_str());
  request.AddQuery("q", 1);
  request.SetPost(new_form());
  read_cursor cursor{"unread", 0, 6};
  EXPECT_EQ(request.PerformPost(as_pointer(&read_from_cursor), &cursor, 6).result, CURLE_OK);
  EXPECT_THAT(server.last().body, testing::HasSubstr("form value"));
  EXPECT_EQ(server.last().target, "/form?q=1");
  EXPECT_EQ(cursor.position, 0U);
}

}  // namespace
}  // namespace ftp_plugin
