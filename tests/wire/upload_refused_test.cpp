// Uploads that a server refuses, breaks or answers oddly: nothing is reported as stored that is not.
#include <chrono>
#include <utility>

#include "tests/wire/upload_fixture.h"

namespace {

using fakes::CacheSource;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using wire::kBlock;
using wire::Upload;

TEST_F(Upload, ARefusedStoreFailsAndDropsTheConnection) {
  connected();
  for (const char* refusal : {"550 Not allowed.", "552 Quota exceeded.", "553 No such name.", "450 Busy.",
                              "425 No data connection.", "530 Not you."}) {
    log.clear();
    server.on("STOR").reply(refusal).times(1);
    EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << refusal;
    expect_failure(25);
    ASSERT_TRUE(server.wait_until_idle());
  }
  EXPECT_EQ(server.file("/docs/new.bin"), std::nullopt);
  EXPECT_EQ(upload("hello"), SUCCESS);
}

TEST_F(Upload, ADirectoryThatIsNotThereIsDenied) {
  connected();
  CacheSource cache{"abc"};
  file = sized("new.bin", 3);
  EXPECT_EQ(upload("/nowhere", cache), ACCESS_DENIED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] Upload id: [new.bin] , exec error: [9]"));
  EXPECT_THAT(cache.requests(), IsEmpty());
  EXPECT_EQ(server.count("MKD"), 0u);
  expect_dropped();
}

TEST_F(Upload, ARefusalBehindTheDataFails) {
  connected();
  for (const auto& [closing, code] : {std::pair{"552 Disk full.", 70},
                                      {"550 Failed.", 18},
                                      {"451 Error.", 18},
                                      {"426 Broken.", 18},
                                      {"553 No.", 18}}) {
    log.clear();
    server.on("STOR").closing(closing).times(1);
    EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << closing;
    expect_failure(code);
  }
}

TEST_F(Upload, BrokenDataFails) {
  connected();
  server.on("STOR").break_data_after(100000).times(1);
  EXPECT_EQ(upload(fakes::some_bytes(20000000)), FILE_WRITE_FAILED);
  server.on("STOR").break_data_after(3).times(1);
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), SizeIs(2));
  EXPECT_EQ(file.modify_time, "");
  EXPECT_EQ(server.file("/docs/new.bin"), std::nullopt);
}

TEST_F(Upload, DataThatTheServerDoesNotWaitForFailsOrIsNotFoundAgain) {
  connected();
  server.on("STOR").end_data_after(100000).times(1);
  EXPECT_EQ(upload(fakes::some_bytes(20000000)), FILE_WRITE_FAILED) << "226 or not";
  server.on("STOR").end_data_after(3).times(1);
  EXPECT_NE(upload("hello"), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), std::nullopt);
}

TEST_F(Upload, AControlConnectionThatEndsOnTheWayFails) {
  connected();
  server.on("STOR").hang_up_after_data(100000).times(1);
  EXPECT_EQ(upload(fakes::some_bytes(20000000)), FILE_WRITE_FAILED);
  server.on("STOR").hang_up_after_data(5).times(1);
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << "all sent, and nobody said that it arrived";
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), SizeIs(2));
  server.on("STOR").hang_up().times(1);
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED);
  EXPECT_EQ(upload("hello"), SUCCESS);
}

TEST_F(Upload, ALostFileFailsAlthoughTheServerSaidItWasStored) {
  connected();
  server.on("STOR").lose();
  EXPECT_EQ(upload("hello"), FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
              ElementsAre("8 [PROTOCOL  ] ftp_get_info id: [/docs/new.bin] , exec error: [78]"));
  EXPECT_EQ(file.size, -1) << "no size that could pass for the right one";
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(server.connections_seen(), 1u) << "the re-read found the connection given back";
}

TEST_F(Upload, ASecondReplyIsNotTakenForTheSizeThatTheServerHas) {
  connected();
  server.on("STOR").closing("226 Stored.\r\n226 Quota: 1%.").times(1);
  EXPECT_EQ(upload("hello"), SUCCESS);
  EXPECT_EQ(file.size, 5);
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(server.connections_seen(), 2u) << "the re-read begins anew";
}

TEST_F(Upload, FailsWhereTheServerHasStoredAnotherSize) {
  connected();
  for (const char* size : {"213 3", "213 0", "213 6"}) {
    server.on("SIZE").reply(size).times(1);
    EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED) << size;
    EXPECT_EQ(file.size, 5) << "the record keeps what a further try is to send";
  }
  EXPECT_EQ(log.lines_with("8 [PROTOCOL").front(),
            "8 [PROTOCOL  ] Upload id: [new.bin] , 3 bytes of 5 are stored");
  EXPECT_EQ(server.file("/docs/new.bin"), "hello") << "what is stored stays there";
  EXPECT_EQ(upload("hello"), SUCCESS);
}

TEST_F(Upload, OfAnUnknownSizeIsNotCompared) {
  connected();
  CacheSource cache{"hello"};
  file = sized("new.bin", 0);
  file.size = -1;
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(file.size, 5);
}

TEST_F(Upload, AServerThatTellsNoSizeLeavesItUnknown) {
  server.lacks("SIZE");
  server.lacks("MDTM");
  connected();
  EXPECT_EQ(upload("hello"), SUCCESS);
  EXPECT_EQ(file.size, -1);
  EXPECT_EQ(file.modify_time, "1969-12-31T23:59:59.000Z");
}

TEST_F(Upload, FailsWithoutAnErrorLineWhenNobodyAnswers) {
  connected();
  EXPECT_EQ(protocol->Delete("/docs/none", nullptr), FAILED);
  server.stop();
  log.clear();
  EXPECT_EQ(upload("hello"), FAILED);
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Upload id [/docs], name [new.bin]"));
}

TEST_F(Upload, AnUnreadableEpsvReplyIsTriedAgainBeforeAByteIsAskedFor) {
  server.on("EPSV").reply("229 nonsense").times(20);
  connected();
  CacheSource cache{fakes::some_bytes(kBlock + 1)};
  file = sized("new.bin", kBlock + 1);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), fakes::some_bytes(kBlock + 1));
  ASSERT_THAT(cache.requests(), Not(IsEmpty()));
  EXPECT_EQ(cache.requests()[0].offset, 0);
  EXPECT_THAT(cache.requests(), SizeIs(2));
  EXPECT_EQ(server.count("EPSV"), 21u);
  EXPECT_EQ(server.count("STOR"), 1u);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), IsEmpty());
}

TEST_F(Upload, AnUnreadableEpsvReplyIsTriedTwentyOneTimes) {
  server.on("EPSV").reply("229 nonsense");
  connected();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(upload("hello"), FILE_WRITE_FAILED);
  EXPECT_THAT(std::chrono::steady_clock::now() - start, Ge(std::chrono::milliseconds{2100}));
  EXPECT_EQ(server.count("EPSV"), 21u);
  EXPECT_EQ(server.count("STOR"), 0u);
  expect_failure(13);
  expect_dropped();
}

}  // namespace
