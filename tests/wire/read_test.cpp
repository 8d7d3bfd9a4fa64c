// Ranged downloads: the commands, the chunks, and what becomes of the connection.
#include <chrono>
#include <thread>

#include "tests/wire/wire_fixture.h"

namespace {

using fakes::FetchSink;
using fakes::Gate;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Not;
using testing::Pair;

class Read : public wire::Wire {
 protected:
  AERROR read(const char* path, long long offset, long long length) {
    return protocol->Read(path, offset, length, handle, &sink, nullptr);
  }
  /// The connection of the next operation is not the one of the login.
  void expect_fresh_login() {
    _FS_FILE_V2 file;
    EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
    EXPECT_EQ(file.size, 11);
    EXPECT_EQ(server.logins(), 2u);
  }

  const std::shared_ptr<_FS_HANDLE> handle = fakes::make_handle();
  FetchSink sink;
};

TEST_F(Read, AsksForBinaryAndARange) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->Read("/docs/a.txt", 6, 3, handle, &sink, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(sink.shape(), ElementsAre(Pair(6, 3)));
  EXPECT_EQ(sink.bytes(), "wor");
  EXPECT_EQ(sink.chunks()[0].reserved, 0);
  EXPECT_EQ(handle.use_count(), 1) << "the handle is the host's again";
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Read [/docs/a.txt] offset 6, length 3"));
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: TYPE I", "1: CWD /", "1: CWD docs", "1: EPSV", "1: TYPE I", "1: SIZE a.txt",
                          "1: REST 6", "1: RETR a.txt"));
}

TEST_F(Read, TheFirstByteNeedsNoRestart) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 0, 1), SUCCESS);
  EXPECT_THAT(sink.shape(), ElementsAre(Pair(0, 1)));
  EXPECT_EQ(sink.bytes(), "h");
  EXPECT_EQ(server.count("REST"), 0u);
}

TEST_F(Read, DeliversWholeBlocksAndAShorterLastOne) {
  connected();
  EXPECT_EQ(read("/big.bin", 1000, 65536 * 2 + 10), SUCCESS);
  EXPECT_THAT(sink.shape(),
              ElementsAre(Pair(1000, 65536), Pair(1000 + 65536, 65536), Pair(1000 + 131072, 10)));
  EXPECT_EQ(sink.bytes(), fakes::some_bytes(300000).substr(1000, 131082));
}

TEST_F(Read, DeliversAWholeFile) {
  connected();
  EXPECT_EQ(read("/big.bin", 0, 300000), SUCCESS);
  EXPECT_EQ(sink.bytes(), fakes::some_bytes(300000));
  EXPECT_EQ(sink.chunks().size(), 5u);
}

TEST_F(Read, NothingAskedIsNothingDone) {
  connected();
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(read("/docs/a.txt", 0, 0), SUCCESS);
  EXPECT_EQ(read("/docs/a.txt", 5, -1), SUCCESS);
  EXPECT_EQ(read("", 0, 10), SUCCESS);
  EXPECT_EQ(protocol->Read(nullptr, 0, 10, handle, &sink, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(sink.chunks(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
}

TEST_F(Read, StaysBelowTheRootPath) {
  connected("/docs");
  EXPECT_EQ(read("/a.txt", 0, 5), SUCCESS);
  EXPECT_EQ(sink.bytes(), "hello");
}

TEST_F(Read, NamesArriveAsTheyAre) {
  const std::string name = "100% a#b?c;type=i [x] é~.txt";
  server.add_file("/docs/" + name, "12345");
  connected();
  EXPECT_EQ(read(("/docs/" + name).c_str(), 1, 3), SUCCESS);
  EXPECT_EQ(sink.bytes(), "234");
  EXPECT_THAT(server.take_dialogue(), Contains("1: RETR " + name));
}

TEST_F(Read, ALineBreakInAPathIsNeverSent) {
  connected();
  EXPECT_EQ(read("/docs/a\r\nDELE big.bin", 0, 5), FILE_READ_FAILED);
  EXPECT_THAT(log.operations(), Contains(HasSubstr("exec error: [3]")));
  released();
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
}

TEST_F(Read, ReachesBeyondFourGigabytes) {
  connected();
  server.on("SIZE").reply("213 6000000000123");
  server.on("RETR").reply("550 Not today.");
  EXPECT_EQ(read("/docs/a.txt", 5000000000, 10), FILE_READ_FAILED);
  EXPECT_EQ(server.count("REST 5000000000"), 1u);
}

TEST_F(Read, DropsTheConnectionWhenTheHostCancels) {
  FetchSink cancelling{[&](const FetchSink::Chunk&) { fakes::stop(*handle); }};
  connected();
  EXPECT_EQ(protocol->Read("/big.bin", 0, 300000, handle, &cancelling, nullptr), READ_CANCELED);
  EXPECT_THAT(cancelling.shape(), ElementsAre(Pair(0, 65536)));
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] Read id: [/big.bin] , exec error: [23]"));
  EXPECT_TRUE(server.wait_until_idle());
  expect_fresh_login();
}

TEST_F(Read, ACancelFromAnotherThreadTakesEffectWithTheNextBytes) {
  Gate gate;
  server.on("RETR").hold_data_after(70000, gate);
  connected();
  AERROR result = SUCCESS;
  std::thread reader{[&] { result = read("/big.bin", 0, 300000); }};
  ASSERT_TRUE(gate.await_arrivals(1));
  fakes::stop(*handle);
  gate.open();
  reader.join();
  EXPECT_EQ(result, READ_CANCELED);
  EXPECT_THAT(sink.chunks().size(), Le(1u));
}

TEST_F(Read, ATransferThatStandsStillForTwentySecondsIsGivenUp) {
  Gate gate;
  server.on("RETR").hold_data_after(70000, gate);
  connected();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(read("/big.bin", 0, 300000), FILE_READ_FAILED);
  const auto taken = std::chrono::steady_clock::now() - start;
  gate.open();
  EXPECT_THAT(taken, AllOf(Ge(std::chrono::seconds{19}), Le(std::chrono::seconds{40})));
  EXPECT_THAT(sink.shape(), ElementsAre(Pair(0, 65536)));
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] Read id: [/big.bin] , exec error: [28]"));
}

TEST_F(Read, AStoppedHandleReadsNothing) {
  fakes::stop(*handle);
  connected();
  EXPECT_EQ(read("/big.bin", 0, 300000), READ_CANCELED);
  EXPECT_THAT(sink.chunks(), IsEmpty());
}

TEST_F(Read, AFileThatEndsEarlyLosesItsTailAndSucceeds) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 6, 1000), SUCCESS);
  EXPECT_THAT(sink.chunks(), IsEmpty()) << "less than a block is never delivered";
  FetchSink blocks;
  EXPECT_EQ(protocol->Read("/big.bin", 0, 1000000, handle, &blocks, nullptr), SUCCESS);
  EXPECT_EQ(blocks.bytes(), fakes::some_bytes(300000).substr(0, 4 * 65536));
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), IsEmpty());
}

TEST_F(Read, TheEndOfTheFileIsAnEmptySuccess) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 11, 10), SUCCESS);
  EXPECT_THAT(sink.chunks(), IsEmpty());
  EXPECT_EQ(read("/docs/a.txt", 11, 10), SUCCESS);
  EXPECT_EQ(server.logins(), 1u);
  server.on("RETR").reply("550 Nothing there.");
  EXPECT_EQ(read("/docs/a.txt", 11, 10), SUCCESS) << "whatever the server calls it";
  server.on("REST").reply("554 Nothing there.");
  EXPECT_EQ(read("/docs/a.txt", 11, 10), SUCCESS);
}

TEST_F(Read, AShortReadLeavesNoReplyForTheNextCommand) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 11, 10), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED) << "a refusal must not look accepted";
}

TEST_F(Read, BeyondTheEndFails) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 12, 10), FILE_READ_FAILED);
  EXPECT_THAT(sink.chunks(), IsEmpty());
  EXPECT_THAT(log.operations(), Contains("8 [PROTOCOL  ] Read id: [/docs/a.txt] , exec error: [36]"));
}

TEST_F(Read, AMissingFileFailsAndDropsTheConnection) {
  connected();
  EXPECT_EQ(read("/docs/none", 0, 10), FILE_READ_FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Read [/docs/none] offset 0, length 10",
                                            "8 [PROTOCOL  ] Read id: [/docs/none] , exec error: [78]"));
  EXPECT_TRUE(server.wait_until_idle());
  expect_fresh_login();
}

TEST_F(Read, AServerThatBreaksOffInTheMiddleFails) {
  connected();
  server.on("RETR").break_data_after(100000).times(1);
  EXPECT_EQ(read("/big.bin", 0, 300000), FILE_READ_FAILED);
  server.on("RETR").hang_up_after_data(100000).times(1);
  EXPECT_EQ(read("/big.bin", 0, 300000), FILE_READ_FAILED);
  server.on("RETR").end_data_after(100000).times(1);
  EXPECT_EQ(read("/big.bin", 0, 300000), FILE_READ_FAILED);
  EXPECT_THAT(sink.shape(), Each(Pair(Ge(0), 65536)));
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").size(), 3u);
  FetchSink whole;
  EXPECT_EQ(protocol->Read("/big.bin", 0, 300000, handle, &whole, nullptr), SUCCESS);
  EXPECT_EQ(whole.bytes(), fakes::some_bytes(300000));
}

TEST_F(Read, AnUnreadableEpsvReplyIsTriedTwentyOneTimes) {
  server.on("EPSV").reply("229 nonsense");
  connected();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(read("/docs/a.txt", 0, 5), FILE_READ_FAILED);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{2100}));
  EXPECT_EQ(server.count("EPSV"), 21u);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Read [/docs/a.txt] offset 0, length 5",
                                            "8 [PROTOCOL  ] Read id: [/docs/a.txt] , exec error: [13]"));
}

TEST_F(Read, AnUnreadableEpsvReplyIsTriedAgainUntilItIsRight) {
  server.on("EPSV").reply("229 nonsense").times(20);
  connected();
  EXPECT_EQ(read("/docs/a.txt", 0, 5), SUCCESS);
  EXPECT_EQ(sink.bytes(), "hello");
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), IsEmpty());
}

TEST_F(Read, TellsItsProgress) {
  fakes::ProgressLog progress{*handle};
  connected();
  EXPECT_EQ(read("/big.bin", 0, 300000), SUCCESS);
  ASSERT_THAT(progress.calls(), Not(IsEmpty()));
  EXPECT_EQ(progress.calls().back().now, 300000);
  EXPECT_EQ(progress.calls().back().total, 300000);
  EXPECT_GT(progress.calls().back().speed, 0.0);
}

TEST_F(Read, TellsNoProgressOfTheNextOperation) {
  fakes::ProgressLog progress{*handle};
  connected();
  EXPECT_EQ(read("/big.bin", 0, 1000), SUCCESS);
  const std::size_t calls = progress.calls().size();
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(progress.calls().size(), calls);
}

TEST_F(Read, KeepsTheSpeedLimit) {
  // libcurl takes up to 1.6 MB at once before it looks at the clock, so only a longer read shows the limit.
  server.add_file("/long.bin", fakes::some_bytes(8000000));
  connected();
  EXPECT_EQ(protocol->SetOpt("SPEEDLIMIT", "4000000"), SUCCESS);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(read("/long.bin", 0, 8000000), SUCCESS);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{1000}));
  EXPECT_EQ(sink.bytes(), fakes::some_bytes(8000000));
}

TEST_F(Read, ALowSpeedLimitHoldsFromTheBeginning) {
  server.add_file("/long.bin", fakes::some_bytes(2000000));
  connected();
  EXPECT_EQ(protocol->SetOpt("speedlimit", "400000"), SUCCESS);
  const auto stop = std::make_shared<_FS_HANDLE>();
  fakes::FirstBytes first{stop, 1'200'000};
  EXPECT_EQ(protocol->Read("/long.bin", 0, 2000000, stop, &first, nullptr), READ_CANCELED);
  EXPECT_THAT(first.took, Ge(std::chrono::milliseconds{1500}));
}

TEST_F(Read, ASpeedLimitOfLettersIsNone) {
  server.add_file("/long.bin", fakes::some_bytes(8000000));
  connected();
  EXPECT_EQ(protocol->SetOpt("speedlimit", "1000"), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("speedlimit", "fast"), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("unknown", "1000"), SUCCESS);
  // At 1,000 bytes per second this would take hours, longer than the test may.
  EXPECT_EQ(read("/long.bin", 0, 8000000), SUCCESS);
}

TEST_F(Read, ALiftedSpeedLimitHoldsNoConnectionBackThatHadIt) {
  server.add_file("/long.bin", fakes::some_bytes(8000000));
  connected();
  EXPECT_EQ(protocol->SetOpt("speedlimit", "1000"), SUCCESS);
  EXPECT_EQ(read("/docs/a.txt", 0, 5), SUCCESS);
  EXPECT_EQ(protocol->SetOpt("speedlimit", "0"), SUCCESS);
  EXPECT_EQ(read("/long.bin", 0, 8000000), SUCCESS);  // see above: hours
}

TEST_F(Read, LeavesNothingBehindForTheNextRequest) {
  connected();
  EXPECT_EQ(read("/docs/a.txt", 6, 3), SUCCESS);
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre("a.txt", "my file.txt", "sub"));
  _FS_FILE_V2 file;
  EXPECT_EQ(protocol->GetFileInfo("/docs/a.txt", &file, nullptr), SUCCESS);
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(sink.bytes(), "wor");
}

}  // namespace
