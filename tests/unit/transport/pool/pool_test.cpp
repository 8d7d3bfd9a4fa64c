// The pool by itself, against the scripted server.
#include "transport/pool/pool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/fakes/ftp_server.h"
#include "tests/unit/transport/curl_recorder.h"
#include "transport/command_list.h"
#include "transport/pool/lease.h"
#include "transport/pool/transfer.h"

namespace ftp_plugin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class PoolOfConnections : public testing::Test {
 protected:
  settings_map settings(settings_map more = {}) {
    settings_map result = std::move(more);
    result.try_emplace("url", server.url());
    result.try_emplace("type", "ftp");
    return result;
  }
  fakes::FtpServer server;
};

TEST_F(PoolOfConnections, KeepsAConnectionToAnUnreachableServer) {
  server.stop();
  pool connections{settings()};
  std::shared_ptr<connection> con = connections.pop_con();
  ASSERT_NE(con, nullptr);
  EXPECT_EQ(con->GETCURL(), nullptr);
  connection* const given_back = con.get();
  connections.push_con(std::move(con));
  EXPECT_EQ(connections.pop_con().get(), given_back);
}

TEST_F(PoolOfConnections, LogsInOnTheSpotWhenNoneIsIdle) {
  pool connections{settings()};
  EXPECT_EQ(server.connections_seen(), 0U);
  const auto first = connections.pop_con();
  const auto second = connections.pop_con();
  EXPECT_NE(first, second);
  EXPECT_NE(first->GETCURL(), nullptr);
  EXPECT_EQ(server.logins(), 2U);
}

TEST_F(PoolOfConnections, EachBorrowerStartsFromTheBaseUrl) {
  pool connections{settings()};
  auto con = connections.pop_con();
  curl_easy_setopt(con->GETCURL(), CURLOPT_URL, server.url("/elsewhere").c_str());
  connections.push_con(std::move(con));
  EXPECT_THAT(options_of([&] { con = connections.pop_con(); }), ElementsAre("URL=\"" + server.url() + '"'));
}

TEST_F(PoolOfConnections, KeepsSixInTheOrderInWhichTheyCameBack) {
  pool connections{settings()};
  std::vector<std::shared_ptr<connection>> lent;
  for (int n = 0; n < 7; ++n) lent.push_back(connections.pop_con());
  std::vector<connection*> order;
  for (auto& con : lent) {
    order.push_back(con.get());
    connections.push_con(std::move(con));
  }
  EXPECT_TRUE(server.wait_for([&] { return server.open_connections() == 6; }));
  EXPECT_EQ(server.dialogue(7).back(), "QUIT");
  for (std::size_t n = 0; n < 6; ++n) lent[n] = connections.pop_con();
  for (std::size_t n = 0; n < 6; ++n) EXPECT_EQ(lent[n].get(), order[n]) << n;
  EXPECT_EQ(server.connections_seen(), 7U);
}

TEST_F(PoolOfConnections, AFullListClosesAConnectionThatNeverLoggedIn) {
  pool connections{settings()};
  for (int n = 0; n < 7; ++n) connections.push_con(std::make_shared<connection>(settings()));
  EXPECT_EQ(connections.init(), 6);
  EXPECT_EQ(server.connections_seen(), 0U);
}

TEST_F(PoolOfConnections, IsFilledUpToOneUnconnectedConnection) {
  pool connections{settings()};
  EXPECT_EQ(connections.init(), 1);
  EXPECT_EQ(connections.init(), 1);
  EXPECT_EQ(connections.pop_con()->GETCURL(), nullptr);
  EXPECT_EQ(server.connections_seen(), 0U);
}

TEST_F(PoolOfConnections, DestroyClosesWhatIsIdleAndThePoolGoesOn) {
  pool connections{settings()};
  connections.push_con(connections.pop_con());
  connections.destroy();
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.dialogue(1).back(), "QUIT");
  EXPECT_NE(connections.pop_con()->GETCURL(), nullptr);
  EXPECT_EQ(server.connections_seen(), 2U);
}

TEST_F(PoolOfConnections, OutlivesItsOwnerForAsLongAsAnOperationHoldsIt) {
  auto connections = std::make_shared<pool>(settings());
  {
    lease borrowed{connections};
    connections.reset();
    borrowed.give_back();
    EXPECT_EQ(server.count("QUIT"), 0U);
  }
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.count("QUIT"), 1U);
}

TEST_F(PoolOfConnections, ALeaseThatIsNotGivenBackIsDropped) {
  const auto connections = std::make_shared<pool>(settings());
  { const lease borrowed{connections}; }
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.dialogue(1).back(), "QUIT");
  EXPECT_NE(
      lease { connections } -> GETCURL(), nullptr);
  EXPECT_EQ(server.connections_seen(), 2U);
}

TEST_F(PoolOfConnections, DropsTheConnectionOfAnOperationWithoutMemory) {
  const auto connections = std::make_shared<pool>(settings());
  connections->push_con(connections->pop_con());
  const auto operation = [&] {
    lease borrowed{connections};
    command_list commands;
    transfer request{*borrowed};
    request.set(CURLOPT_NOBODY, 1L, 0L);
    const no_memory now;
    add(commands, "NOOP");
    borrowed.give_back();
  };
  const std::vector<std::string> seen = options_of([&] { EXPECT_THROW(operation(), std::bad_alloc); });
  EXPECT_THAT(seen, Contains("NOBODY=0"));
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.dialogue(1), Not(Contains("NOOP")));
  EXPECT_EQ(connections->init(), 1) << "nothing came back";
  EXPECT_EQ(connections->pop_con()->GETCURL(), nullptr);
}

TEST_F(PoolOfConnections, TheLoginTestLearnsWhatTheServerTakes) {
  pool connections{settings()};
  EXPECT_FALSE(connections.utf8());
  EXPECT_FALSE(connections.mlst());
  EXPECT_EQ(connections.TestConnect(), SUCCESS);
  EXPECT_TRUE(connections.utf8());
  EXPECT_TRUE(connections.mlst());
  EXPECT_THAT(server.dialogue(), ElementsAre("1: USER anonymous", "1: PASS ftp@example.com", "1: PWD",
                                             "1: OPTS UTF8 ON", "1: OPTS MLST type;unique;size;modify;"));
}

TEST_F(PoolOfConnections, LoginsDoNotWaitForEachOther) {
  pool connections{settings()};
  auto idle = connections.pop_con();
  fakes::Gate gate;
  server.on("USER").hold(gate);
  std::array<std::thread, 3> logins;
  for (auto& login : logins) {
    login = std::thread{[&] { EXPECT_NE(connections.pop_con()->GETCURL(), nullptr); }};
  }
  EXPECT_TRUE(gate.await_arrivals(logins.size())) << "all are under way at once";
  connections.push_con(std::move(idle));
  EXPECT_NE(connections.pop_con(), nullptr) << "nor does anybody else wait for them";
  gate.open();
  for (auto& login : logins) login.join();
}

TEST_F(PoolOfConnections, AGoodbyeKeepsNobodyWaiting) {
  pool connections{settings()};
  std::vector<std::shared_ptr<connection>> borrowed;
  for (int n = 0; n < 7; ++n) borrowed.push_back(connections.pop_con());
  fakes::Gate gate;
  server.on("QUIT").hold(gate).times(1);
  for (int n = 0; n < 6; ++n) connections.push_con(std::move(borrowed[static_cast<std::size_t>(n)]));
  std::thread last{[&] { connections.push_con(std::move(borrowed[6])); }};
  EXPECT_TRUE(gate.await_arrivals(1));
  EXPECT_NE(connections.pop_con()->GETCURL(), nullptr);
  gate.open();
  last.join();
}

TEST_F(PoolOfConnections, WhatTheServerRefusesIsNoFailure) {
  server.lacks("UTF8");
  server.lacks("MLST");
  pool connections{settings({{"charset", "auto"}})};
  EXPECT_EQ(connections.TestConnect(), SUCCESS);
  EXPECT_FALSE(connections.utf8());
  EXPECT_FALSE(connections.mlst());
  EXPECT_EQ(server.logins(), 1U) << "and costs no login";
}

TEST_F(PoolOfConnections, ForcedUtf8HoldsEvenIfTheServerRefusesIt) {
  server.lacks("UTF8");
  pool connections{settings({{"charset", "utf8"}})};
  EXPECT_EQ(connections.TestConnect(), SUCCESS);
  EXPECT_THAT(server.dialogue(1), Contains("OPTS UTF8 ON"));
  EXPECT_TRUE(connections.utf8());
}

TEST_F(PoolOfConnections, TheLocalCharsetAsksForNoUtf8) {
  pool connections{settings({{"charset", "local"}})};
  EXPECT_EQ(connections.TestConnect(), SUCCESS);
  EXPECT_THAT(server.dialogue(), Not(Contains("1: OPTS UTF8 ON")));
  EXPECT_FALSE(connections.utf8());
  EXPECT_TRUE(connections.mlst());
}

TEST_F(PoolOfConnections, AnSftpServerIsAskedNothing) {
  pool connections{settings({{"type", "sftp"}, {"charset", "utf8"}})};
  EXPECT_EQ(connections.TestConnect(), SUCCESS);
  EXPECT_THAT(server.dialogue(), ElementsAre("1: USER anonymous", "1: PASS ftp@example.com", "1: PWD"));
  EXPECT_FALSE(connections.utf8());
  EXPECT_FALSE(connections.mlst());
}

TEST_F(PoolOfConnections, AFailedLoginTestKeepsNothing) {
  server.accept_only("jane", "right");
  pool connections{settings()};
  EXPECT_EQ(connections.TestConnect(), ACCESS_DENIED);
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(connections.init(), 1) << "the list was empty";
}

}  // namespace
}  // namespace ftp_plugin
