#include "transport/pool/transfer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
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
