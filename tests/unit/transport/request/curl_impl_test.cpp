// The request object: what is set on it, and what a request then carries.
#include "transport/request/curl_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <cstring>
#include <locale>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/transport/http_responder.h"
#include "tests/unit/transport/request/web_request.h"
#include "transport/request/curl_callbacks.h"

namespace ftp_plugin {
namespace {

using testing_tools::http_reply;
using testing_tools::http_request;
using testing_tools::http_responder;

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

TEST(Form, IsForgottenByClear) {
  const http_responder server;
  CURLImpl request;
  request.SetPost(new_form());
  expect_post(request, server.url("/form"), "text");
  request.Clear();
  expect_post(request, server.url("/form"), "plain");
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

  /// A handle whose progress is written down here.
  std::shared_ptr<_FS_HANDLE> handle() {
    auto made = std::make_shared<_FS_HANDLE>();
    made->progress_context = this;
    made->progress = [](std::int64_t total, std::int64_t now, void* context, double speed) {
      auto* record = static_cast<progress_record*>(context);
      record->calls.emplace_back(total, now);
      record->last_speed = speed;
      return 1;
    };
    return made;
  }
};

TEST(BindHandle, ReportsAnUploadToTheHostAndIgnoresItsAnswer) {
  // Nothing comes back, so only the upload has a speed.
  const http_responder server{[](const http_request&) { return http_reply("200 OK", "", ""); }};
  CURLImpl request;
  progress_record record;
  auto handle = record.handle();
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
  auto handle = record.handle();
  request.BindHandleForDownload(handle);
  expect_get(request, server.url("/down"));
  ASSERT_FALSE(record.calls.empty());
  EXPECT_EQ(record.calls.back(), (std::pair<std::int64_t, std::int64_t>{1000, 1000}));
  EXPECT_GT(record.last_speed, 0.0);
}

TEST(BindHandle, IsUndoneByClear) {
  const http_responder server;
  CURLImpl request;
  progress_record record;
  auto handle = record.handle();
  request.BindHandleForDownload(handle);
  request.Clear();
  expect_get(request, server.url("/down"));
  EXPECT_TRUE(record.calls.empty());
}

TEST(BindHandle, ReportsNothingWithoutAHandle) {
  const http_responder server;
  CURLImpl request;
  request.BindHandleForDownload(nullptr);
  expect_get(request, server.url("/down"));
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
  expect_get(request, "http://server.invalid/x");
  EXPECT_EQ(proxy.last().target, "http://server.invalid/x");
  EXPECT_EQ(proxy.last().headers.at("host"), "server.invalid");
  request.Clear();
  expect_get(request, proxy.url("/direct"));
  EXPECT_EQ(proxy.last().target, "/direct");
}

TEST(SetProxy, SendsUserAndPasswordToTheProxy) {
  const http_responder proxy;
  CURLImpl request;
  request.SetProxy(CURLPROXY_HTTP, "127.0.0.1", proxy.port(), "bob", "secret");
  expect_get(request, "http://server.invalid/x");
  EXPECT_EQ(proxy.last().headers.at("proxy-authorization"), "Basic Ym9iOnNlY3JldA==");
  request.SetProxy(CURLPROXY_HTTP, "127.0.0.1", proxy.port(), "", "");
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  EXPECT_EQ(proxy.last().headers.count("proxy-authorization"), 0U);
}

}  // namespace
}  // namespace ftp_plugin
