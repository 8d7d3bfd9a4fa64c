// Saying goodbye: once, over the connection that is open, and never for long.
#include <chrono>
#include <thread>

#include "tests/wire/wire_fixture.h"

namespace {

using fakes::FetchSink;
using fakes::FileList;
using std::chrono::seconds;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Lt;

class Quit : public wire::Wire {
 protected:
  AERROR list(const char* path) {
    FileList entries;
    return protocol->GetFileList(path, &entries, nullptr);
  }
  AERROR read(const char* path, long long offset, long long length) {
    FetchSink sink;
    return protocol->Read(path, offset, length, fakes::make_handle(), &sink, nullptr);
  }
};

TEST_F(Quit, IsSaidOnceWhenTheObjectIsReleased) {
  connected();
  released();
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: QUIT"));
}

TEST_F(Quit, IsSaidAfterOperations) {
  connected();
  EXPECT_EQ(list("/docs"), SUCCESS);
  released();
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: EPSV", "1: TYPE A", "1: MLSD docs", "1: QUIT"));
}

TEST_F(Quit, AsksNothingMoreOfAServerThatStays) {
  server.on("QUIT").stay();
  connected();
  EXPECT_EQ(list("/docs"), SUCCESS);
  (void)server.take_dialogue();
  released();
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: QUIT"));
}

TEST_F(Quit, AsksForNoListingOfAServerThatStaysInAnotherDirectory) {
  server.on("QUIT").stay();
  connected();
  EXPECT_EQ(list("/docs/[x"), FAILED);
  server.add_directory("/docs/[x]");
  EXPECT_EQ(list("/docs/[x]"), SUCCESS) << "leaves the server in another directory than the login's";
  ASSERT_TRUE(server.wait_for([&] { return server.open_connections() == 1; }));
  (void)server.take_dialogue();
  released();
  // The goodbye is a request for the login's directory, so libcurl goes there when the server lets it.
  EXPECT_THAT(server.take_dialogue(), ElementsAre("2: QUIT", "2: CWD /"));
}

TEST_F(Quit, IsNotSaidWhereLibcurlHasClosedTheConnection) {
  connected();
  server.on("REST").reply("554 Not there.");
  EXPECT_EQ(read("/docs/a.txt", 11, 3), SUCCESS);
  ASSERT_TRUE(server.wait_until_idle());
  (void)server.take_dialogue();
  released();
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  EXPECT_EQ(server.connections_seen(), 1u) << "no login only to say goodbye";
}

TEST_F(Quit, IsNotSaidAfterAReadThatFellShort) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 11, 3), SUCCESS);
  released();
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Quit, IsNotSaidToAServerThatHungUp) {
  server.on("FEAT").hang_up_after_reply();
  ASSERT_EQ(connect(), SUCCESS);
  ASSERT_TRUE(server.wait_until_idle());
  (void)server.take_dialogue();
  released();
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Quit, IsNotSaidToAServerThatIsDown) {
  connected();
  server.stop();
  const auto start = std::chrono::steady_clock::now();
  protocol.release();
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Lt(seconds{5}));
}

TEST_F(Quit, DoesNotMindARefusal) {
  server.on("QUIT").reply("500 Stay a while.").stay();
  connected();
  released();
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: QUIT"));
}

TEST_F(Quit, WaitsTenSecondsForAnAnswerAtMost) {
  server.on("QUIT").silence();
  connected();
  const auto start = std::chrono::steady_clock::now();
  released();
  EXPECT_THAT(std::chrono::steady_clock::now() - start, AllOf(Ge(seconds{9}), Lt(seconds{20})));
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: QUIT"));
}

TEST_F(Quit, ReleasesAConnectionThatNeverLoggedIn) {
  server.accept_only("jane", "right");
  EXPECT_EQ(connect(), ACCESS_DENIED);
  released();
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Quit, NothingIsEverWrittenToStandardOutput) {
  testing::internal::CaptureStdout();
  server.on("QUIT").extra("250 Bytes that nobody asked for.\r\n").stay();
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(list("/docs"), SUCCESS);
  EXPECT_EQ(list("/none"), FAILED);
  EXPECT_EQ(read("/docs/a.txt", 0, 5), SUCCESS);
  EXPECT_EQ(read("/docs/a.txt", 11, 5), SUCCESS);
  _FS_FILE_V2 file;
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), SUCCESS);
  released();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
