#include "transport/pool/lease.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/fakes/ftp_server.h"

namespace ftp_plugin {
namespace {

using testing::ElementsAre;

class Lease : public testing::Test {
 protected:
  fakes::FtpServer server;
  std::shared_ptr<pool> connections =
      std::make_shared<pool>(settings_map{{"url", server.url()}, {"type", "ftp"}});
};

TEST_F(Lease, TellsWhetherItHoldsALogin) {
  EXPECT_TRUE(lease{connections});
  server.stop();
  EXPECT_FALSE(lease{connections});
}

TEST_F(Lease, SendsCommandsBehindARequestForNothing) {
  lease borrowed{connections};
  ASSERT_TRUE(borrowed);
  (void)server.take_dialogue();
  EXPECT_EQ(borrowed.run_commands({"NOOP 1", "NOOP 2"}, folder_effect::kNone), CURLE_OK);
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: NOOP 1", "1: NOOP 2"));
}

TEST_F(Lease, CountsAFolderThatWasMovedAndNothingElse) {
  server.on("RMD").reply("550 No.").times(1);
  lease borrowed{connections};
  ASSERT_TRUE(borrowed);
  EXPECT_EQ(borrowed.run_commands({"NOOP"}, folder_effect::kNone), CURLE_OK);
  EXPECT_EQ(borrowed.run_commands({"NOOP"}, folder_effect::kCreates), CURLE_OK);
  EXPECT_NE(borrowed.run_commands({"RMD a"}, folder_effect::kMoves), CURLE_OK);
  EXPECT_EQ(connections->folder_moves(), 0U);
  EXPECT_EQ(borrowed.run_commands({"NOOP"}, folder_effect::kMoves), CURLE_OK);
  EXPECT_EQ(connections->folder_moves(), 1U);
}

}  // namespace
}  // namespace ftp_plugin
