#include "transport/pool/transfer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/ftp_server.h"
#include "tests/unit/transport/curl_recorder.h"

namespace ftp_plugin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Transfer : public testing::Test {
 protected:
  Transfer() { EXPECT_EQ(con.connect(), SUCCESS); }
  fakes::FtpServer server;
  connection con{settings_map{{"url", server.url()}, {"type", "ftp"}}};
};

TEST_F(Transfer, UndoesWhatItSetInTheOrderOfSetting) {
  transfer request{con};
  request.set(CURLOPT_NOBODY, 1L, 0L).set(CURLOPT_RANGE, "0-1", nullptr).keep(CURLOPT_FILETIME, 1L);
  request.clear(CURLOPT_QUOTE, nullptr);
  std::vector<std::string> seen = options_of([&] { EXPECT_EQ(request.run(), CURLE_OK); });
  ASSERT_GE(seen.size(), 3U);
  seen.erase(seen.begin(), seen.end() - 3);
  EXPECT_THAT(seen, ElementsAre("NOBODY=0", "RANGE=none", "QUOTE=none"));
}

TEST_F(Transfer, HasUndoneEverythingWhenRunReturns) {
  transfer request{con};
  request.set(CURLOPT_NOBODY, 1L, 0L);
  EXPECT_EQ(request.run(), CURLE_OK);
  const auto end = [&] { request.~transfer(), new (&request) transfer{con}; };
  EXPECT_THAT(options_of(end), IsEmpty()) << "by then others may hold the handle";
}

TEST_F(Transfer, UndoesWhatItSetWhenItNeverRan) {
  EXPECT_THAT(options_of([&] {
                try {
                  transfer request{con};
                  request.set(CURLOPT_NOBODY, 1L, 0L);
                  throw std::runtime_error{"before the request"};
                } catch (const std::runtime_error&) {
                }
              }),
              ElementsAre("NOBODY=1", "NOBODY=0"));
}

TEST_F(Transfer, SendsNothingWhenLibcurlRefusedAnOption) {
  (void)server.take_dialogue();
  command_list commands;
  add(commands, "DELE /a");
  transfer request{con};
  request.set(CURLOPT_QUOTE, commands.get(), nullptr).set(CURLOPT_NOBODY, 1L, 0L);
  request.set(CURLOPT_PROXYPORT, -1L, 0L);
  const std::vector<std::string> seen =
      options_of([&] { EXPECT_EQ(request.run(), CURLE_BAD_FUNCTION_ARGUMENT); });
  EXPECT_THAT(seen, ElementsAre("QUOTE=none", "NOBODY=0", "PROXYPORT=0"));
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
}

TEST_F(Transfer, SendsItsCommandsBeforeAndBehind) {
  (void)server.take_dialogue();
  transfer request{con};
  request.send_before({"NOOP 1", "NOOP 2"}).send_after({"NOOP 3"}).set(CURLOPT_NOBODY, 1L, 0L);
  EXPECT_EQ(request.run(), CURLE_OK);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: NOOP 1", "1: NOOP 2", "1: NOOP 3"));
}

TEST_F(Transfer, TakesRepliesDownWithoutLeavingThemUnwatched) {
  byte_vector replies;
  transfer request{con};
  request.send_before({"FEAT"}).set(CURLOPT_NOBODY, 1L, 0L).copy_replies_to(replies);
  EXPECT_THAT(options_of([&] { EXPECT_EQ(request.run(), CURLE_OK); }),
              Not(Contains(testing::HasSubstr("HEADERFUNCTION"))));
  const std::string_view text{replies.data(), replies.size()};
  EXPECT_THAT(text, testing::StartsWith("211-"));
  EXPECT_THAT(text, testing::EndsWith("211 End\r\n"));
  const std::size_t size = replies.size();
  EXPECT_EQ(transfer{con}.send_before({"NOOP"}).set(CURLOPT_NOBODY, 1L, 0L).run(), CURLE_OK);
  EXPECT_EQ(replies.size(), size);
}

TEST_F(Transfer, ADownloadNamesItsFirstAndItsLastByte) {
  const auto range = [this](long long offset, long long length) {
    transfer request{con};
    const std::vector<std::string> seen = options_of([&] { request.download(offset, length, 0); });
    for (const std::string& option : seen) {
      if (option.starts_with("RANGE=")) return option;
    }
    return std::string{};
  };
  EXPECT_EQ(range(0, 1), "RANGE=\"0-0\"");
  EXPECT_EQ(range(5, 10), "RANGE=\"5-14\"");
  EXPECT_EQ(range(6'000'000'000, 2), "RANGE=\"6000000000-6000000001\"");
}

TEST_F(Transfer, ASpeedLimitEndsWithItsRequest) {
  transfer request{con};
  EXPECT_THAT(options_of([&] { request.upload(5, 1000); }),
              testing::AllOf(Contains("MAX_SEND_SPEED_LARGE=1000"), Contains("MAX_RECV_SPEED_LARGE=1000")));
  request.set(CURLOPT_UPLOAD, 0L, 0L).set(CURLOPT_NOBODY, 1L, 0L);
  EXPECT_THAT(options_of([&] { EXPECT_EQ(request.run(), CURLE_OK); }),
              testing::AllOf(Contains("MAX_SEND_SPEED_LARGE=0"), Contains("MAX_RECV_SPEED_LARGE=0")));
}

TEST_F(Transfer, AFileThatEndsEarlyCostsTheControlConnection) {
  server.add_file("/a", "0123456789");
  const auto download = [this](long long length) {
    byte_vector bytes;
    EXPECT_EQ(transfer{con}
                  .set(CURLOPT_URL, server.url("/a").c_str(), nullptr)
                  .download(5, length, 0)
                  .write_to(&write_vector_char, &bytes)
                  .run(),
              CURLE_OK);
    EXPECT_EQ(bytes.size(), 5U);
  };
  download(6);
  (void)server.take_dialogue();
  download(5);
  EXPECT_THAT(server.take_dialogue(), Contains("2: RETR a"));
}

TEST_F(Transfer, TheProgressOfAnUploadStaysSetAndTellsNobody) {
  _FS_HANDLE host;
  int calls = 0;
  host.progress = [](std::int64_t, std::int64_t, void* counter, double) {
    return ++*static_cast<int*>(counter);
  };
  host.progress_context = &calls;
  const curl_read_callback end = [](char*, std::size_t, std::size_t, void*) -> std::size_t { return 0; };
  transfer request{con};
  request.set(CURLOPT_URL, server.url("/new").c_str(), nullptr)
      .upload(0, 0)
      .set(CURLOPT_READFUNCTION, end, nullptr)
      .report_upload(&host);
  EXPECT_THAT(options_of([&] { EXPECT_EQ(request.run(), CURLE_OK); }),
              testing::AllOf(Contains("NOPROGRESS=1"), Not(Contains(testing::HasSubstr("XFERINFO")))));
  const int before = calls;
  EXPECT_GT(before, 0);
  transfer next{con};
  next.set(CURLOPT_URL, server.url().c_str(), nullptr)
      .set(CURLOPT_NOPROGRESS, 0L, 1L)
      .set(CURLOPT_NOBODY, 1L, 0L);
  EXPECT_EQ(next.run(), CURLE_OK);
  EXPECT_EQ(calls, before);
}

TEST_F(Transfer, WritesToItsSinkAndThenNowhere) {
  std::vector<char> sink;
  transfer request{con};
  EXPECT_THAT(options_of([&] { request.write_to(&fwrite, &sink); }), Not(Contains("WRITEDATA=none")));
  request.set(CURLOPT_NOBODY, 1L, 0L);
  const std::vector<std::string> seen = options_of([&] { EXPECT_EQ(request.run_once(), CURLE_OK); });
  EXPECT_THAT(seen, Contains("WRITEFUNCTION=discard_body"));
  EXPECT_THAT(seen, Contains("WRITEDATA=none"));
}

TEST_F(Transfer, RepeatsARunButNotARunOnce) {
  server.add_file("/a", "x");
  server.lacks("EPSV");
  server.on("PASV").reply("200 No address.").times(2);
  const auto fetch = [this](auto run) {
    transfer request{con};
    request.set(CURLOPT_URL, server.url("/a").c_str(), nullptr);
    return (request.*run)();
  };
  EXPECT_EQ(fetch(&transfer::run_once), CURLE_FTP_WEIRD_PASV_REPLY);
  EXPECT_EQ(fetch(&transfer::run), CURLE_OK);
  EXPECT_EQ(server.count("PASV"), 3U);
}

}  // namespace
}  // namespace ftp_plugin
