// The request object against a small web server.
#include "transport/request/curl_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <cstring>
#include <locale>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/unit/transport/http_responder.h"
#include "transport/request/curl_callbacks.h"

namespace ftp_plugin {
namespace {

using testing_tools::http_reply;
using testing_tools::http_request;
using testing_tools::http_responder;

void* as_pointer(std::size_t (*function)(char*, std::size_t, std::size_t, void*) noexcept) {
  return reinterpret_cast<void*>(function);
}

std::string header_of(const curl_response& response) {
  return {response.header.get(), response.header_length};
}
std::string body_of(const curl_response& response) { return {response.body.get(), response.body_length}; }

std::size_t append_to_string(char* data, std::size_t size, std::size_t count, void* text) noexcept {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

TEST(CURLImpl, ForgetsNothingThatWasSetUntilCleared) {
  CURLImpl request;
  request.SetURL("http://host/");
  request.SetRequest("PROPFIND");
  request.AddQuery("a", 1);
  request.AddHeader("X-A", "b");
  EXPECT_EQ(request.GetURL(), "http://host/");
  EXPECT_EQ(request.GetRequest(), "PROPFIND");
  EXPECT_EQ(request.GetQuery(), (CURLImpl::text_map{{"a", "1"}}));
  EXPECT_EQ(request.GetHeader(), (CURLImpl::text_map{{"X-A", "b"}}));
  request.Clear();
  EXPECT_EQ(request.GetURL(), "");
  EXPECT_EQ(request.GetRequest(), "");
  EXPECT_TRUE(request.GetQuery().empty());
  EXPECT_TRUE(request.GetHeader().empty());
  EXPECT_NE(request.GetCURL(), nullptr);
}

TEST(CURLImpl, TakesNullForNoText) {
  CURLImpl request;
  request.SetURL(nullptr);
  request.SetRequest(nullptr);
  EXPECT_EQ(request.GetURL(), "");
  EXPECT_EQ(request.GetRequest(), "");
}

TEST(CURLImpl, NamesResultCodes) { EXPECT_STREQ(CURLImpl::ErrorString(CURLE_OK), "No error"); }

// A host that was built against the table calls by slot number.
template <class Member>
std::size_t slot_of(Member member) {
  std::uintptr_t words[2] = {};
  static_assert(sizeof member == sizeof words);
  std::memcpy(words, &member, sizeof words);
  return (words[0] & ~std::uintptr_t{1}) / sizeof(void*);  // a virtual member holds its offset in the table
}

TEST(CURLImpl, KeepsTheOrderOfItsVirtualOperations) {
  using post_text = curl_response (CURLImpl::*)(std::string);
  using post_read = curl_response (CURLImpl::*)(void*, void*, long long);
  EXPECT_EQ(slot_of(&CURLImpl::Clear), 2U);  // behind the two forms of the destructor
  EXPECT_EQ(slot_of(&CURLImpl::PerformGet), 3U);
  EXPECT_EQ(slot_of(static_cast<post_text>(&CURLImpl::PerformPost)), 4U);
  EXPECT_EQ(slot_of(static_cast<post_read>(&CURLImpl::PerformPost)), 5U);
}

TEST(Query, GivesNoQuestionMarkWhenEmpty) {
  const http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/plain").c_str());
  EXPECT_EQ(request.BuildQueryString(true), "");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(server.last().target, "/plain");
  EXPECT_EQ(request.PerformPost("x").result, CURLE_OK);
  EXPECT_EQ(server.last().target, "/plain");
}

TEST(Query, KeepsTheLastValueOfAName) {
  CURLImpl request;
  request.AddQuery("a", "first");
  request.AddQuery("a", "last");
  EXPECT_EQ(request.BuildQueryString(true), "a=last");
}

TEST(Query, EscapesValuesButNeverNames) {
  CURLImpl request;
  request.AddQuery("a b", "c d&e");
  EXPECT_EQ(request.BuildQueryString(true), "a b=c%20d%26e");
  EXPECT_EQ(request.BuildQueryString(false), "a b=c d&e");
}

TEST(Query, JoinsItsEntriesInTheOrderOfTheMap) {
  CURLImpl request;
  std::string expected;
  for (const char* name : {"one", "two", "three"}) request.AddQuery(name, name);
  for (const auto& [name, value] : request.GetQuery()) {
    expected += (expected.empty() ? "" : "&") + name + "=" + value;
  }
  EXPECT_EQ(request.BuildQueryString(false), expected);
  EXPECT_EQ(request.GetQuery().size(), 3U);
}

TEST(Query, TakesEverythingThatAStreamWrites) {
  CURLImpl request;
  request.AddQuery("text", std::string{"a"});
  request.AddQuery("number", 1234567);
  request.AddQuery("fraction", 0.5);
  EXPECT_EQ(request.GetQuery(),
            (CURLImpl::text_map{{"text", "a"}, {"number", "1234567"}, {"fraction", "0.5"}}));
}

TEST(Query, WritesNumbersAlikeUnderEveryLocaleOfTheHost) {
  struct grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale{std::locale::classic(), new grouping});
  CURLImpl request;
  request.AddQuery("port", 65535);
  std::locale::global(before);
  EXPECT_EQ(request.GetQuery().at("port"), "65535");
}

TEST(Headers, BecomeOneLineEach) {
  CURLImpl request;
  EXPECT_EQ(request.BuildHeader().get(), nullptr);
  request.AddHeader("X-One", 1);
  request.AddHeader("X-Two", "zwei");
  std::set<std::string> lines;
  const command_list list = request.BuildHeader();
  for (const curl_slist* node = list.get(); node != nullptr; node = node->next) lines.insert(node->data);
  EXPECT_EQ(lines, (std::set<std::string>{"X-One: 1", "X-Two: zwei"}));
}

TEST(Escape, EncodesAndDecodes) {
  const CURLImpl request;
  EXPECT_EQ(request.Escape("a b/\xc3\xa4"), "a%20b%2F%C3%A4");
  EXPECT_EQ(request.Unescape("a%20b%2F%C3%A4"), "a b/\xc3\xa4");
  EXPECT_EQ(request.Escape(""), "");
  EXPECT_EQ(request.Unescape(""), "");
}

TEST(Escape, KeepsADecodedZeroByte) { EXPECT_EQ(CURLImpl{}.Unescape("a%00b"), (std::string{"a\0b", 3})); }

TEST(Escape, TakesNullForNoText) {
  EXPECT_EQ(CURLImpl{}.Escape(nullptr), "");
  EXPECT_EQ(CURLImpl{}.Unescape(nullptr), "");
}

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
  request.SetURL(server.url("/x").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
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
  request.SetURL(server.url("/post").c_str());
  EXPECT_EQ(request.PerformPost("").result, CURLE_OK);
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
  request.SetURL(server.url("/post").c_str());
  EXPECT_EQ(request.PerformPost("x").result, CURLE_OK);
  EXPECT_EQ(server.last().target, "/post?q=a%20b");
  request.SetURL(server.url("/post?p=1").c_str());
  EXPECT_EQ(request.PerformPost("x").result, CURLE_OK);
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

curl_httppost* new_form() {
  curl_httppost* first = nullptr;
  curl_httppost* last = nullptr;
  curl_formadd(&first, &last, CURLFORM_COPYNAME, "field", CURLFORM_COPYCONTENTS, "form value", CURLFORM_END);
  return first;
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

TEST(Form, IsForgottenByClear) {
  const http_responder server;
  CURLImpl request;
  request.SetPost(new_form());
  request.SetURL(server.url("/form").c_str());
  EXPECT_EQ(request.PerformPost("text").result, CURLE_OK);
  request.Clear();
  request.SetURL(server.url("/form").c_str());
  EXPECT_EQ(request.PerformPost("plain").result, CURLE_OK);
  EXPECT_EQ(server.last().body, "plain");
}

TEST(Form, IsReplacedByTheNextOneAndFreedWithTheRequest) {  // the leak check counts
  CURLImpl request;
  curl_httppost* same = new_form();
  request.SetPost(new_form());
  request.SetPost(same);
  request.SetPost(same);
}

TEST(SpeedLimit, SlowsADownload) {
  constexpr std::size_t kBytes = 4'000'000;  // libcurl lets the first megabyte pass unmeasured
  const http_responder server{
      [](const http_request&) { return http_reply("200 OK", "", std::string(kBytes, 'x')); }};
  CURLImpl request;
  request.SetURL(server.url("/big").c_str());
  request.SetSpeedLimit(8'000'000);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).body_length, kBytes);
  EXPECT_GT(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(), 0.3);
}

struct progress_record {
  std::vector<std::pair<std::int64_t, std::int64_t>> calls;
  double last_speed = -1;
};
int record_progress(std::int64_t total, std::int64_t now, void* context, double speed) {
  auto* record = static_cast<progress_record*>(context);
  record->calls.emplace_back(total, now);
  record->last_speed = speed;
  return 1;
}

TEST(BindHandle, ReportsAnUploadToTheHostAndIgnoresItsAnswer) {
  // Nothing comes back, so only the upload has a speed.
  const http_responder server{[](const http_request&) { return http_reply("200 OK", "", ""); }};
  CURLImpl request;
  progress_record record;
  auto handle = std::make_shared<_FS_HANDLE>();
  handle->progress = &record_progress;
  handle->progress_context = &record;
  request.BindHandle(handle);
  handle.reset();  // its function and context were copied
  request.SetURL(server.url("/up").c_str());
  const std::string text(1000, 'u');
  read_cursor cursor{text.data(), 0, text.size()};
  EXPECT_EQ(request.PerformPost(as_pointer(&read_from_cursor), &cursor, 1000).result, CURLE_OK);
  ASSERT_FALSE(record.calls.empty());
  EXPECT_EQ(record.calls.back(), (std::pair<std::int64_t, std::int64_t>{1000, 1000}));
  EXPECT_GT(record.last_speed, 0.0);
}

TEST(BindHandle, ReportsADownload) {
  const http_responder server{
      [](const http_request&) { return http_reply("200 OK", "", std::string(1000, 'd')); }};
  CURLImpl request;
  progress_record record;
  auto handle = std::make_shared<_FS_HANDLE>();
  handle->progress = &record_progress;
  handle->progress_context = &record;
  request.BindHandleForDownload(handle);
  request.SetURL(server.url("/down").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  ASSERT_FALSE(record.calls.empty());
  EXPECT_EQ(record.calls.back(), (std::pair<std::int64_t, std::int64_t>{1000, 1000}));
  EXPECT_GT(record.last_speed, 0.0);
}

TEST(BindHandle, IsUndoneByClear) {
  const http_responder server;
  CURLImpl request;
  progress_record record;
  auto handle = std::make_shared<_FS_HANDLE>();
  handle->progress = &record_progress;
  handle->progress_context = &record;
  request.BindHandleForDownload(handle);
  request.Clear();
  request.SetURL(server.url("/down").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_TRUE(record.calls.empty());
}

TEST(BindHandle, ReportsNothingWithoutAHandle) {
  const http_responder server;
  CURLImpl request;
  request.BindHandleForDownload(nullptr);
  request.SetURL(server.url("/down").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
}

int send_buffer_at_close = 0;
int note_send_buffer(void*, curl_socket_t socket) {
  socklen_t length = sizeof send_buffer_at_close;
  getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &send_buffer_at_close, &length);
  return close(socket);
}

TEST(SendBuffer, IsAskedForOnEverySocketThatIsOpened) {
  const http_responder server;
  const int reference = socket(AF_INET, SOCK_STREAM, 0);
  const int wanted = 1048576;
  setsockopt(reference, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
  int granted = 0;
  socklen_t length = sizeof granted;
  getsockopt(reference, SOL_SOCKET, SO_SNDBUF, &granted, &length);
  close(reference);
  CURLImpl request;
  curl_easy_setopt(request.GetCURL(), CURLOPT_CLOSESOCKETFUNCTION, &note_send_buffer);
  request.SetURL(server.url("/").c_str());
  request.SetSendBuffer();
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(send_buffer_at_close, granted);
}

TEST(SetProxy, SendsTheRequestThroughTheProxyUntilCleared) {
  const http_responder proxy;
  CURLImpl request;
  request.SetProxy(CURLPROXY_HTTP, "127.0.0.1", proxy.port(), "us:er", "secret");
  request.SetURL("http://server.invalid/x");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(proxy.last().target, "http://server.invalid/x");
  EXPECT_EQ(proxy.last().headers.at("host"), "server.invalid");
  request.Clear();
  request.SetURL(proxy.url("/direct").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(proxy.last().target, "/direct");
}

TEST(SetProxy, SendsUserAndPasswordToTheProxy) {
  const http_responder proxy;
  CURLImpl request;
  request.SetProxy(CURLPROXY_HTTP, "127.0.0.1", proxy.port(), "bob", "secret");
  request.SetURL("http://server.invalid/x");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(proxy.last().headers.at("proxy-authorization"), "Basic Ym9iOnNlY3JldA==");
  request.SetProxy(CURLPROXY_HTTP, "127.0.0.1", proxy.port(), "", "");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(proxy.last().headers.count("proxy-authorization"), 0U);
}

}  // namespace
}  // namespace ftp_plugin
