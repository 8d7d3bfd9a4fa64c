// Uploads: the commands, the names and what the record holds afterwards.
#include <string>
#include <utility>

#include "tests/fakes/latin1_locale.h"
#include "tests/wire/upload_fixture.h"

namespace {

using fakes::CacheSource;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using wire::kBlock;
using wire::Upload;

TEST_F(Upload, AsksForBinaryStoresAndReadsSizeAndTimeAgain) {
  connected();
  CacheSource cache{"hello there"};
  file = sized("b c.txt", 11);
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol->Upload("/docs/sub", handle, &cache, &file, UPLOAD_FLAG{}, &message), SUCCESS);
  EXPECT_EQ(message, nullptr);
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: TYPE I", "1: CWD /", "1: CWD docs", "1: CWD sub", "1: EPSV", "1: TYPE I",
                          "1: STOR b c.txt", "1: MDTM b c.txt", "1: SIZE b c.txt", "1: REST 0"));
  EXPECT_THAT(log.operations(), ElementsAre("1 [PROTOCOL  ] Upload id [/docs/sub], name [b c.txt]",
                                            "1 [PROTOCOL  ] GetFileInfo id: [/docs/sub/b c.txt]",
                                            "1 [PROTOCOL  ] GetFileInfo dir: [0]"));
  EXPECT_EQ(server.file("/docs/sub/b c.txt"), "hello there");
  EXPECT_EQ(file.id, "/docs/sub/b c.txt");
  EXPECT_EQ(file.name, "b c.txt");
  EXPECT_EQ(file.attr, FS_ATTR_FILE);
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.create_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.access_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(file.modify_time, "2024-01-02T03:04:05.000Z");
  EXPECT_EQ(handle->position, 11);
  EXPECT_EQ(handle.use_count(), 1) << "the handle is the host's again";
  expect_kept();
}

TEST_F(Upload, ReplacesAFile) {
  connected();
  CacheSource cache{"x"};
  file = sized("a.txt", 1);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/a.txt"), "x");
  EXPECT_EQ(file.size, 1);
}

TEST_F(Upload, IgnoresItsFlags) {
  connected();
  for (const int flag : {0, 1, 2, -1}) {
    CacheSource cache{"same"};
    file = sized("same.txt", 4);
    EXPECT_EQ(protocol->Upload("/docs", handle, &cache, &file, static_cast<UPLOAD_FLAG>(flag), nullptr),
              SUCCESS);
    EXPECT_EQ(server.file("/docs/same.txt"), "same");
  }
  EXPECT_EQ(server.count("APPE"), 0u);
}

TEST_F(Upload, WithoutAPathStoresAtTheTop) {
  connected();
  CacheSource cache{"top"};
  file = sized("top.txt", 3);
  EXPECT_EQ(upload(nullptr, cache), SUCCESS);
  EXPECT_EQ(file.id, "/top.txt");
  EXPECT_EQ(server.file("/top.txt"), "top");
  EXPECT_THAT(log.operations(), Contains("1 [PROTOCOL  ] Upload id [], name [top.txt]"));
  EXPECT_THAT(server.take_dialogue(), Contains("1: STOR top.txt"));
}

TEST_F(Upload, StaysBelowTheRootPath) {
  connected("/docs");
  CacheSource cache{"x"};
  file = sized("new.bin", 1);
  EXPECT_EQ(upload("sub", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/sub/new.bin"), "x");
  EXPECT_EQ(file.id, "/sub/new.bin");
}

TEST_F(Upload, WorksInActiveMode) {
  connected("", {{"active", "true"}});
  EXPECT_EQ(upload(fakes::some_bytes(kBlock + 1)), SUCCESS);
  EXPECT_EQ(server.file("/docs/new.bin"), fakes::some_bytes(kBlock + 1));
  EXPECT_EQ(server.count("EPSV"), 0u);
  EXPECT_EQ(server.count("EPRT"), 1u);
}

TEST_F(Upload, NamesArriveAsTheyAre) {
  const std::string name = "100% a#b?c;type=i [x] \xc3\xa9~\"q\" \\.txt";
  connected();
  CacheSource cache{"12345"};
  file = sized(name, 5);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  EXPECT_EQ(server.file("/docs/" + name), "12345");
  EXPECT_EQ(file.size, 5);
}

TEST_F(Upload, NeverSendsALineBreak) {
  connected();
  for (const char* text : wire::kLineBreaks) {
    const std::string name = text;
    for (const auto& [path, broken] :
         {std::pair<const char*, std::string>{"/docs", name}, {text, "new.bin"}}) {
      log.clear();
      CacheSource cache{"abc"};
      file = sized(broken, 3);
      EXPECT_EQ(upload(path, cache), FILE_WRITE_FAILED);
      EXPECT_THAT(log.lines_with("8 [PROTOCOL"),
                  ElementsAre("8 [PROTOCOL  ] Upload id: [" + broken + "] , exec error: [3]"));
      EXPECT_THAT(cache.requests(), IsEmpty());
    }
  }
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  expect_kept();
}

TEST_F(Upload, TheConvertedNameIsStoredAndReadAgain) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  connected();
  CacheSource cache{"abc"};
  file = sized(fakes::kUtf8Name, 3);
  EXPECT_EQ(upload("/docs", cache), SUCCESS);
  const std::string latin1 = fakes::kLatin1Name;
  EXPECT_THAT(server.take_dialogue(),
              ElementsAre("1: TYPE I", "1: CWD /", "1: CWD docs", "1: EPSV", "1: TYPE I", "1: STOR " + latin1,
                          "1: MDTM " + latin1, "1: SIZE " + latin1, "1: REST 0"));
  EXPECT_EQ(file.id, "/docs/" + latin1);
  EXPECT_EQ(file.name, fakes::kUtf8Name);
  EXPECT_EQ(file.size, 3);
}

TEST_F(Upload, TheErrorLineShowsTheConvertedName) {
  const fakes::Latin1Locale locale;
  server.lacks("UTF8");
  connected();
  server.on("STOR").reply("550 No.");
  CacheSource cache{"abc"};
  file = sized(fakes::kUtf8Name, 3);
  EXPECT_EQ(upload("/docs", cache), FILE_WRITE_FAILED);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), ElementsAre(std::string{"8 [PROTOCOL  ] Upload id: ["} +
                                                         fakes::kLatin1Name + "] , exec error: [25]"));
}

}  // namespace
