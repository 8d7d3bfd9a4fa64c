#include "transport/retry.h"

#include <gtest/gtest.h>

#include <chrono>

namespace ftp_plugin {
namespace {

using clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPause{100};

TEST(Retry, OnlyAMalformedPasvReplyIsWorthAnotherTryAndCostsAPause) {
  const auto start = clock::now();
  EXPECT_TRUE(process_error(CURLE_FTP_WEIRD_PASV_REPLY));
  EXPECT_GE(clock::now() - start, kPause);
  for (int code = 0; code < CURL_LAST; ++code) {
    if (code == CURLE_FTP_WEIRD_PASV_REPLY) continue;
    EXPECT_FALSE(process_error(static_cast<CURLcode>(code))) << code;
  }
}

TEST(Retry, ARequestIsRunTwentyOneTimesAtMostWithAPauseAfterEach) {
  int runs = 0;
  const auto start = clock::now();
  const CURLcode code = run_with_retry([&] {
    ++runs;
    return CURLE_FTP_WEIRD_PASV_REPLY;
  });
  EXPECT_EQ(runs, 21);
  EXPECT_EQ(code, CURLE_FTP_WEIRD_PASV_REPLY);
  EXPECT_GE(clock::now() - start, 21 * kPause);
}

TEST(Retry, TheFirstOtherResultEndsIt) {
  for (const CURLcode last : {CURLE_OK, CURLE_FTP_WEIRD_227_FORMAT, CURLE_OPERATION_TIMEDOUT}) {
    int runs = 0;
    EXPECT_EQ(run_with_retry([&] { return ++runs < 3 ? CURLE_FTP_WEIRD_PASV_REPLY : last; }), last);
    EXPECT_EQ(runs, 3);
  }
}

TEST(Retry, ALoginIsRepeatedFourTimesWhileLibcurlCannotInitialise) {
  int runs = 0;
  const auto start = clock::now();
  EXPECT_EQ(run_while_not_initialised([&] {
              ++runs;
              return CURLE_FAILED_INIT;
            }),
            CURLE_FAILED_INIT);
  EXPECT_EQ(runs, 5);
  EXPECT_GE(clock::now() - start, 15 * kPause) << "100, 200, 400 and 800 ms";
}

TEST(Retry, ALoginEndsWithTheFirstOtherResult) {
  int runs = 0;
  const auto run = [&] { return ++runs < 3 ? CURLE_FAILED_INIT : CURLE_LOGIN_DENIED; };
  EXPECT_EQ(run_while_not_initialised(run), CURLE_LOGIN_DENIED);
  EXPECT_EQ(runs, 3);
}

}  // namespace
}  // namespace ftp_plugin
