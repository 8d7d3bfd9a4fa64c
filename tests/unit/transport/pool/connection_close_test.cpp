// How a connection says goodbye, and that it can be used again afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/unit/transport/curl_recorder.h"
#include "tests/unit/transport/http_responder.h"
#include "tests/unit/transport/pool/connection_fixture.h"
#include "tests/unit/transport/recording_log.h"

namespace ftp_plugin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST_F(Connection, SaysGoodbyeOnceHoweverOftenItIsAskedTo) {
  {
    connection con{settings()};
    ASSERT_EQ(con.connect(), SUCCESS);
    con.quit();
    con.quit();
    con.close();
  }
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.count("QUIT"), 1U);
  EXPECT_EQ(server.connections_seen(), 1U);
}

TEST_F(Connection, GoesWithoutAGoodbyeWhenThereIsNoMemoryForOne) {
  auto con = std::make_unique<connection>(settings());
  ASSERT_EQ(con->connect(), SUCCESS);
  {
    const testing_tools::recording_log log;
    const no_memory now;
    con->close();
    con.reset();
    EXPECT_THAT(log.lines(),
                Contains(testing_tools::log_line{LOGLEVEL_ERROR, "[NETWORK   ] no memory for a goodbye"}));
  }
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.count("QUIT"), 0U);
}

TEST_F(Connection, SaysNoGoodbyeOnSftp) {
  {
    connection con{settings({{"type", "sftp"}})};  // the setting decides, whatever the URL says
    ASSERT_EQ(con.connect(), SUCCESS);
    EXPECT_THAT(options_of([&] { con.quit(); }), IsEmpty());
    (void)server.take_dialogue();
    EXPECT_EQ(send(con, "NOOP"), CURLE_OK);
    EXPECT_THAT(server.take_dialogue(), ElementsAre("1: NOOP"));
  }
}

TEST_F(Connection, CanBeUsedAgainAfterItWasClosed) {
  connection con{settings({{"user", "jane"}, {"pwd", "p"}})};
  ASSERT_EQ(con.connect(), SUCCESS);
  con.close();
  ASSERT_NE(con.GETCURL(), nullptr);
  (void)server.take_dialogue();
  EXPECT_EQ(send(con, "NOOP"), CURLE_OK);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("2: USER jane", "2: PASS p", "2: PWD", "2: NOOP"));
}

TEST_F(Connection, CanBeUsedAgainAfterItWasClosedOnAServerThatStays) {
  server.on("QUIT").stay();
  connection con{settings()};
  ASSERT_EQ(con.connect(), SUCCESS);
  con.close();
  EXPECT_EQ(send(con, "NOOP"), CURLE_OK);
  EXPECT_EQ(server.dialogue(2).back(), "NOOP");
  EXPECT_TRUE(server.wait_for([&] { return server.open_connections() == 1; }));
}

TEST_F(Connection, CanBeUsedAgainAfterItWasClosedWhereTheServerHadHungUp) {
  server.on("NOOP").hang_up_after_reply().times(1);
  connection con{settings()};
  ASSERT_EQ(con.connect(), SUCCESS);
  EXPECT_EQ(send(con, "NOOP"), CURLE_OK);
  ASSERT_TRUE(server.wait_until_idle());
  con.close();
  EXPECT_EQ(send(con, "NOOP"), CURLE_OK);
}

TEST_F(Connection, ClosingClearsTheRequest) {
  connection con{settings()};
  ASSERT_EQ(con.connect(), SUCCESS);
  con.quit();
  const std::vector<std::string> seen = options_of([&] { con.close(); });
  EXPECT_THAT(seen, Contains("WRITEFUNCTION=discard_body"));
  EXPECT_EQ(seen.back(), "PROXY=none");
}

}  // namespace
}  // namespace ftp_plugin
