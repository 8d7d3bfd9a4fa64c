#include "transport/request/curl_auth.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "tests/unit/transport/http_responder.h"

namespace ftp_plugin {
namespace {

using map = CURLImpl::text_map;

map headers_signed_with(const char* answer) {
  JsonObject json{answer};
  CURLAuth signer{json};
  CURLImpl request;
  signer.SignAuthentication(request);
  EXPECT_TRUE(request.GetQuery().empty());
  return request.GetHeader();
}

struct AnswerCase {
  const char* label;
  const char* answer;
  const char* authorization;  // null: no header at all
};
constexpr AnswerCase kAnswerCases[] = {
    {"TheTokenBecomesABearer", R"({"results":{"access_token":"abc"}})", "Bearer abc"},
    {"OtherMembersAreIgnored", R"({"results":{"token_type":"x","access_token":"abc","expires":3}})",
     "Bearer abc"},
    {"ResultsWithoutATokenAddNoHeader", R"({"results":{"expires":3}})", nullptr},
    {"EmptyResultsAddNoHeader", R"({"results":{}})", nullptr},
    {"NullResultsAddNoHeader", R"({"results":null})", nullptr},
    {"NoResultsAddNoHeader", R"({"access_token":"abc"})", nullptr},
    {"ANumberIsTakenAsItsText", R"({"results":{"access_token":42}})", "Bearer 42"},
    {"ATruthValueIsTakenAsItsText", R"({"results":{"access_token":true}})", "Bearer true"},
    {"ANullTokenIsAnEmptyOne", R"({"results":{"access_token":null}})", "Bearer "},
};
class AuthAnswer : public testing::TestWithParam<AnswerCase> {};
TEST_P(AuthAnswer, DecidesTheHeader) {
  const AnswerCase& want = GetParam();
  const map expected = want.authorization == nullptr ? map{} : map{{"Authorization", want.authorization}};
  EXPECT_EQ(headers_signed_with(want.answer), expected);
}
INSTANTIATE_TEST_SUITE_P(, AuthAnswer, testing::ValuesIn(kAnswerCases),
                         [](const auto& row) { return row.param.label; });

TEST(CURLAuth, LeavesOneAuthorizationWhenARequestIsSignedTwice) {
  const testing_tools::http_responder server;
  JsonObject json{R"({"results":{"access_token":"abc"}})"};
  CURLAuth signer{json};
  CURLImpl request;
  signer.SignAuthentication(&request);
  signer.SignAuthentication(&request);
  request.SetURL(server.url("/signed").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).result, CURLE_OK);
  const auto seen = server.last();
  EXPECT_EQ(std::ranges::count(seen.header_names, "Authorization"), 1);
  EXPECT_EQ(seen.headers.at("authorization"), "Bearer abc");
}

TEST(CURLAuth, ReplacesTheOldTokenAndKeepsTheRest) {
  JsonObject first{R"({"results":{"access_token":"old"}})"};
  JsonObject second{R"({"results":{"access_token":"new"}})"};
  JsonObject none{R"({"results":{}})"};
  CURLAuth signer{first};
  signer.AddHeader("X-App", "a");
  signer.SetAuth(second);
  signer.SetAuth(none);
  CURLImpl request;
  signer.SignAuthentication(request);
  EXPECT_EQ(request.GetHeader(), (map{{"Authorization", "Bearer new"}, {"X-App", "a"}}));
}

TEST(CURLAuth, AddsArgumentsToTheQuery) {
  JsonObject json = JsonObject::GetEmptyObject();
  CURLAuth signer{json};
  signer.AddArg("key", "first");
  signer.AddArg("key", "last");
  signer.AddArg("empty", nullptr);
  CURLImpl request;
  request.AddQuery("key", "own");
  request.AddQuery("kept", "own");
  signer.SignAuthentication(request);
  EXPECT_EQ(request.GetQuery(), (map{{"key", "last"}, {"empty", ""}, {"kept", "own"}}));
  EXPECT_TRUE(request.GetHeader().empty());
}

TEST(CURLAuth, ForgetsWhatIsCleared) {
  JsonObject json{R"({"results":{"access_token":"abc"}})"};
  CURLAuth signer{json};
  signer.AddArg("key", "value");
  signer.ClearHeaders();
  CURLImpl with_argument;
  signer.SignAuthentication(with_argument);
  EXPECT_TRUE(with_argument.GetHeader().empty());
  EXPECT_EQ(with_argument.GetQuery().size(), 1U);
  signer.ClearArgs();
  CURLImpl plain;
  signer.SignAuthentication(plain);
  EXPECT_TRUE(plain.GetQuery().empty());
}

TEST(CURLAuth, SignsSharedRequestsAndIgnoresNone) {
  JsonObject json{R"({"results":{"access_token":"abc"}})"};
  CURLAuth signer{json};
  const auto request = std::make_shared<CURLImpl>();
  signer.SignAuthentication(request);
  EXPECT_EQ(request->GetHeader().size(), 1U);
  signer.SignAuthentication(std::shared_ptr<CURLImpl>{});
  signer.SignAuthentication(static_cast<CURLImpl*>(nullptr));
}

TEST(CURLAuth, SignsEveryWayThroughThePointerForm) {
  struct counting : CURLAuth {
    using CURLAuth::CURLAuth;
    using CURLAuth::SignAuthentication;
    void SignAuthentication(CURLImpl* request) override {
      ++calls;
      CURLAuth::SignAuthentication(request);
    }
    int calls = 0;
  };
  JsonObject json = JsonObject::GetEmptyObject();
  counting signer{json};
  const auto request = std::make_shared<CURLImpl>();
  signer.SignAuthentication(*request);
  signer.SignAuthentication(request);
  EXPECT_EQ(signer.calls, 2);
}

TEST(CURLAuth, StaysAsItWasWhenTheAnswerCannotBeUsed) {
  JsonObject good{R"({"results":{"access_token":"abc"}})"};
  CURLAuth signer{good};
  for (const char* text : {R"({"results":[1]})", R"({"results":{"access_token":["x"]}})"}) {
    JsonObject bad{text};
    EXPECT_THROW(signer.SetAuth(bad), Json::Exception) << text;
  }
  CURLImpl request;
  signer.SignAuthentication(request);
  EXPECT_EQ(request.GetHeader(), (map{{"Authorization", "Bearer abc"}}));
}

TEST(CURLAuth, KeepsTheOrderOfItsVirtualOperations) {
  const auto slot_of = [](auto member) {
    std::uintptr_t words[2] = {};
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
    return (words[0] & ~std::uintptr_t{1}) / sizeof(void*);
  };
  using by_reference = void (CURLAuth::*)(CURLImpl&);
  using by_share = void (CURLAuth::*)(std::shared_ptr<CURLImpl>);
  using by_pointer = void (CURLAuth::*)(CURLImpl*);
  EXPECT_EQ(slot_of(static_cast<by_reference>(&CURLAuth::SignAuthentication)), 2U);
  EXPECT_EQ(slot_of(static_cast<by_share>(&CURLAuth::SignAuthentication)), 3U);
  EXPECT_EQ(slot_of(static_cast<by_pointer>(&CURLAuth::SignAuthentication)), 4U);
}

TEST(CURLAuth, NeverSignsWithHalfAToken) {
  const std::string tokens[] = {std::string(40, 'a'), std::string(400, 'b')};
  JsonObject answers[] = {JsonObject{("{\"results\":{\"access_token\":\"" + tokens[0] + "\"}}").c_str()},
                          JsonObject{("{\"results\":{\"access_token\":\"" + tokens[1] + "\"}}").c_str()}};
  CURLAuth signer{answers[0]};
  std::atomic<bool> done{false};
  std::thread refresh{[&] {
    for (int i = 0; i < 500; ++i) signer.SetAuth(answers[i % 2]);
    done = true;
  }};
  do {
    CURLImpl request;
    signer.SignAuthentication(request);
    const std::string value = request.GetHeader().at("Authorization");
    EXPECT_TRUE(value == "Bearer " + tokens[0] || value == "Bearer " + tokens[1]) << value;
  } while (!done);
  refresh.join();
}

}  // namespace
}  // namespace ftp_plugin
