// Log in, list, look up and read, on every real server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/live/ftp_fixture.h"
#include "tests/live/session.h"

namespace {

using fakes::some_bytes;
using live::Session;
using live::time_text;
using servers::Daemon;
using servers::Tls;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::SizeIs;

std::vector<std::string> keys_of(const std::map<std::string, _FS_FILE_V2>& files) {
  std::vector<std::string> keys;
  for (const auto& [name, file] : files) keys.push_back(name);
  return keys;
}

class LiveServer : public live::OnFtpServer {};
class LiveLogin : public live::OnFtpServer {};

TEST_P(LiveLogin, TakesTheLoginAndEncryptsWhenItCan) {
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  const std::vector<std::string> attempts = session.log().lines_with("plicit FTPS url");
  if (GetParam().options.tls == Tls::kImplicit) {
    ASSERT_THAT(attempts, SizeIs(2));
    EXPECT_THAT(attempts[0], HasSubstr("with explicit FTPS url:ftp://"));
    EXPECT_THAT(attempts[0], HasSubstr(", return 1"));
    EXPECT_THAT(attempts[1], HasSubstr("with implicit FTPS url:ftps://"));
    EXPECT_THAT(attempts[1], HasSubstr(", return 0"));
  } else {
    ASSERT_THAT(attempts, SizeIs(1));
    EXPECT_THAT(attempts[0], HasSubstr(", return 0"));
  }
  // The certificate is for another name and signed by nobody: neither is looked at.
  EXPECT_EQ(session.log().lines_with("SSL connection using").empty(), !GetParam().tls())
      << session.transcript();

  // The login is good for everything that follows.
  const std::string bytes = some_bytes(200'000);
  server_.add_file("folder/a.bin", bytes);
  EXPECT_THAT(keys_of(session.list("/folder")), ElementsAre("a.bin"));
  EXPECT_EQ(session.info("/folder/a.bin").size, 200'000);
  EXPECT_TRUE(session.read("/folder/a.bin", 0, 200'000) == bytes);
  EXPECT_TRUE(session.read("/folder/a.bin", 100'000, 10) == bytes.substr(100'000, 10));
}

TEST_P(LiveLogin, RefusesAWrongPasswordAndSaysSo) {
  const Session session{server_, {{"password", "wrong"}}};
  EXPECT_EQ(session.result(), ACCESS_DENIED) << session.transcript();
}

TEST_P(LiveLogin, IsNotReachedOnceItIsGone) {
  server_.stop();
  const Session session{server_};
  EXPECT_EQ(session.result(), PATH_NOT_FOUND) << session.transcript();
}

TEST_P(LiveServer, ListsNamesKindsSizesAndTimes) {
  // The first of the month before last, at noon: recent enough for LIST to give the time of day.
  const std::time_t recent = (std::time(nullptr) / 86400 - 40) * 86400 + 12 * 3600 + 34 * 60;
  server_.add_file("a.txt", "hello", recent);
  server_.add_file("folder/inner/deep.bin", some_bytes(123'456), recent);
  server_.add_file("folder/b b.txt", "", recent);

  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  const auto root = session.list("/");
  ASSERT_THAT(keys_of(root), ElementsAre("a.txt", "folder"));
  EXPECT_EQ(root.at("a.txt").attr, FS_ATTR_FILE);
  EXPECT_EQ(root.at("a.txt").size, 5);
  EXPECT_EQ(root.at("a.txt").modify_time, time_text(recent));
  EXPECT_EQ(root.at("a.txt").id, "/a.txt");
  EXPECT_EQ(root.at("folder").attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(root.at("folder").id, "/folder");

  const auto folder = session.list("/folder");
  ASSERT_THAT(keys_of(folder), ElementsAre("b b.txt", "inner"));
  EXPECT_EQ(folder.at("b b.txt").size, 0);
  const auto inner = session.list("/folder/inner");
  ASSERT_THAT(keys_of(inner), ElementsAre("deep.bin"));
  EXPECT_EQ(inner.at("deep.bin").size, 123'456);
  EXPECT_EQ(inner.at("deep.bin").id, "/folder/inner/deep.bin");
}

TEST_P(LiveServer, ListsAnEmptyFolderAsNothing) {
  server_.add_folder("nothing here");
  const Session session{server_};
  EXPECT_THAT(session.list("/nothing here"), IsEmpty());
}

TEST_P(LiveServer, RefusesToListWhatIsNotThere) {
  const Session session{server_};
  fakes::FileList files;
  EXPECT_NE(session->GetFileList("/missing", &files, nullptr), SUCCESS) << session.transcript();
  EXPECT_THAT(files.files(), IsEmpty());
  // The next operation is none the worse for it.
  server_.add_file("a.txt", "a");
  EXPECT_THAT(keys_of(session.list("/")), ElementsAre("a.txt"));
}

TEST_P(LiveServer, KeepsAwkwardNames) {
  const std::vector<std::string> names = {"#hash",
                                          "100%",
                                          "a b  c",
                                          "a%20b",
                                          "a&b=c",
                                          "a;b",
                                          "a[1]",
                                          "a{2}",
                                          "quote\"s'",
                                          "semi; colon",
                                          "star*",
                                          "tilde~",
                                          "Überraschung",
                                          "\xE6\x97\xA5\xE6\x9C\xAC",
                                          "\xF0\x9F\x98\x80 smile"};
  for (const std::string& name : names) server_.add_file("names/" + name, name);
  const Session session{server_};
  EXPECT_THAT(keys_of(session.list("/names")), testing::UnorderedElementsAreArray(names))
      << session.transcript();
  for (const std::string& name : names) {
    const std::string path = "/names/" + name;
    EXPECT_EQ(session.info(path).size, static_cast<std::int64_t>(name.size())) << name;
    EXPECT_EQ(session.read(path, 0, static_cast<long long>(name.size())), name);
  }
}

TEST_P(LiveServer, DescendsIntoFoldersWithAwkwardNames) {
  for (const char* name : {"a b", "a[1]", "100%", "Größe", "x#y"}) {
    server_.add_file(std::string{name} + "/" + name + "/leaf.txt", "leaf");
  }
  const Session session{server_};
  for (const char* name : {"a b", "a[1]", "100%", "Größe", "x#y"}) {
    const std::string folder = "/" + std::string{name} + "/" + name;
    EXPECT_THAT(keys_of(session.list(folder)), ElementsAre("leaf.txt")) << folder << session.transcript();
    EXPECT_EQ(session.read(folder + "/leaf.txt", 0, 4), "leaf");
  }
}

TEST_P(LiveServer, KnowsSizeAndTimeOfAFileToTheSecond) {
  const std::time_t modified = 1'234'567'890;
  server_.add_file("folder/a.bin", some_bytes(70'000), modified);
  const Session session{server_};
  const _FS_FILE_V2 file = session.info("/folder/a.bin");
  EXPECT_EQ(file.id, "/folder/a.bin");
  EXPECT_EQ(file.size, 70'000);
  EXPECT_EQ(file.modify_time, time_text(modified));
  EXPECT_EQ(file.create_time, file.modify_time);
  EXPECT_EQ(file.access_time, file.modify_time);
}

TEST_P(LiveServer, KnowsAFolderFromItsParent) {
  server_.add_folder("outer/inner");
  const Session session{server_};
  const _FS_FILE_V2 inner = session.info("/outer/inner", FS_ATTR_DIRECTORY);
  EXPECT_EQ(inner.attr, FS_ATTR_DIRECTORY);
  EXPECT_EQ(inner.name, "inner");
  EXPECT_EQ(session.info("/outer", FS_ATTR_DIRECTORY).name, "outer");
}

TEST_P(LiveServer, SaysThatAMissingFileHasNoInformation) {
  const Session session{server_};
  _FS_FILE_V2 file;
  file.attr = FS_ATTR_FILE;
  EXPECT_EQ(session->GetFileInfo("/missing.txt", &file, nullptr), FAILED) << session.transcript();
}

TEST_P(LiveServer, ReadsWholeFilesByteForByte) {
  const Session session{server_};
  for (const std::size_t size : {1UL, 65'535UL, 65'536UL, 65'537UL, 3'000'000UL}) {
    const std::string bytes = some_bytes(size, static_cast<unsigned>(size));
    const std::string name = "/" + std::to_string(size) + ".bin";
    server_.add_file(name.substr(1), bytes);
    EXPECT_TRUE(session.read(name, 0, static_cast<long long>(size)) == bytes) << size;
  }
}

TEST_P(LiveServer, ReadsAnyRangeOfAFile) {
  const std::string bytes = some_bytes(1'000'000);
  server_.add_file("a.bin", bytes);
  const Session session{server_};
  struct Range {
    std::size_t offset, length;
  };
  for (const Range range :
       {Range{0, 1}, Range{1, 1}, Range{999'999, 1}, Range{0, 65'536}, Range{65'535, 65'538},
        Range{123'456, 300'000}, Range{500'000, 500'000}, Range{0, 1'000'000}}) {
    EXPECT_TRUE(
        session.read("/a.bin", static_cast<long long>(range.offset), static_cast<long long>(range.length)) ==
        bytes.substr(range.offset, range.length))
        << range.offset << " + " << range.length;
  }
}

TEST_P(LiveServer, DeliversWholeBlocksOnlyWhenTheFileEndsEarly) {
  const std::string bytes = some_bytes(100'000);
  server_.add_file("a.bin", bytes);
  const Session session{server_};
  EXPECT_TRUE(session.read("/a.bin", 0, 200'000) == bytes.substr(0, 65'536));
  // Nothing of that read is left over for the next.
  EXPECT_TRUE(session.read("/a.bin", 10, 20) == bytes.substr(10, 20));
}

TEST_P(LiveServer, AnswersAReadAtTheEndOfTheFileWithNothingAndGoesOn) {
  server_.add_file("a.bin", some_bytes(1'000));
  server_.add_file("b.bin", "still there");
  const Session session{server_};
  fakes::FetchSink sink;
  (void)session->Read("/a.bin", 1'000, 10, fakes::make_handle(), &sink, nullptr);
  EXPECT_THAT(sink.chunks(), IsEmpty());
  EXPECT_EQ(session.read("/b.bin", 0, 11), "still there");
  EXPECT_EQ(session.info("/b.bin").size, 11);
  _FS_FILE_V2 missing;
  missing.attr = FS_ATTR_FILE;
  EXPECT_EQ(session->GetFileInfo("/missing.txt", &missing, nullptr), FAILED);
}

TEST_P(LiveServer, FailsToReadAMissingFile) {
  const Session session{server_};
  fakes::FetchSink sink;
  EXPECT_EQ(session->Read("/missing.bin", 0, 10, fakes::make_handle(), &sink, nullptr), FILE_READ_FAILED);
  EXPECT_THAT(sink.chunks(), IsEmpty());
}

TEST_P(LiveServer, StopsAReadWhenTheHostCancels) {
  server_.add_file("a.bin", some_bytes(4'000'000));
  const Session session{server_};
  const auto handle = fakes::make_handle();
  fakes::FetchSink sink{[&](const fakes::FetchSink::Chunk&) { fakes::stop(*handle); }};
  EXPECT_EQ(session->Read("/a.bin", 0, 4'000'000, handle, &sink, nullptr), READ_CANCELED);
  EXPECT_THAT(sink.chunks(), SizeIs(1));
  EXPECT_EQ(session.info("/a.bin").size, 4'000'000);
}

TEST_P(LiveServer, WorksBelowTheFolderThatTheUrlNames) {
  server_.add_file("base dir/inner/a.txt", "hello");
  fakes::Logger log;
  const fakes::ScopedProtocol protocol;
  ASSERT_EQ(
      protocol->Connect(
          nullptr,
          fakes::login_document(server_.url() + "base dir/", server_.user(), server_.password()).c_str()),
      SUCCESS)
      << server_.log();
  fakes::FileList files;
  ASSERT_EQ(protocol->GetFileList("/inner", &files, nullptr), SUCCESS) << server_.log();
  EXPECT_THAT(files.names(), testing::Contains("a.txt"));
  fakes::FetchSink sink;
  EXPECT_EQ(protocol->Read("/inner/a.txt", 0, 5, fakes::make_handle(), &sink, nullptr), SUCCESS);
  EXPECT_EQ(sink.bytes(), "hello");
}

TEST_P(LiveServer, ListsTenThousandEntries) {
  server_.add_folder("many");
  std::vector<std::string> names;
  for (int n = 0; n < 10'000; ++n) {
    names.push_back("file number " + std::to_string(n) + ".txt");
    server_.add_file("many/" + names.back(), "");
  }
  const Session session{server_};
  std::sort(names.begin(), names.end());
  EXPECT_TRUE(keys_of(session.list("/many")) == names);
}

INSTANTIATE_TEST_SUITE_P(, LiveLogin, testing::ValuesIn(servers::every_ftp_server()),
                         [](auto& row) { return row.param.label; });
INSTANTIATE_TEST_SUITE_P(, LiveServer, testing::ValuesIn(servers::directly_reached_ftp_servers()),
                         [](auto& row) { return row.param.label; });

// A server that refuses UTF-8 sends its names in some character set; in the "C" locale nothing can be
// converted, and the bytes go through as they are.
TEST(LiveProFtpd, PassesNamesOfAnUnknownCharacterSetThrough) {
  Daemon server = servers::start_proftpd({.utf8 = false});
  server.add_file(
      "gr\xFC\xDF"
      "e.txt",
      "latin");
  const Session session{server};
  const auto files = session.list("/");
  ASSERT_THAT(keys_of(files), ElementsAre("gr\xFC\xDF"
                                          "e.txt"))
      << session.transcript();
  EXPECT_EQ(session.read(files.begin()->second.id, 0, 5), "latin");
}

}  // namespace
