// Links that lead nowhere, round or far away.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/live/other_mount.h"
#include "tests/live/session.h"
#include "tests/live/sites.h"
#include "tests/servers/disk.h"

namespace {

using live::label_of;
using live::LinkFacts;
using live::OtherMount;
using live::Place;
using live::Site;
using live::sites;
using servers::write_file;
namespace fs = std::filesystem;
using live::Session;
using testing::IsEmpty;

class Links : public testing::TestWithParam<Site> {};

TEST_P(Links, ThatLeadNowhereRoundOrFarAwayAreAllListed) {
  OtherMount::keep_to_this_process();
  const Place place = GetParam().open("UTC");
  const OtherMount elsewhere{place.folder / "mount"};
  fs::create_directory(place.folder / "mount/far");
  write_file(place.folder / "mount/far/away.txt", "far away");
  for (const char* folder : {"facts", "[list]"}) {
    fs::create_directory(place.folder / folder);
    write_file(place.folder / folder / "file", "0123456789");
    for (const auto& [name, target] : {std::pair{"dangling", "nowhere"},
                                       {"loop", "loop"},
                                       {"ring", "gnir"},
                                       {"gnir", "ring"},
                                       {"to far", "../mount/far"},
                                       {"to file", "file"}}) {
      fs::create_symlink(target, place.folder / folder / name);
    }
  }
  place.hand_over();

  const Session session = place.log_in();
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
  for (const std::string folder : {"/facts", "/[list]"}) {
    SCOPED_TRACE(folder);
    const bool facts = GetParam().has_facts_of(folder);
    const bool broken_are_sent = !facts || GetParam().facts == LinkFacts::kAll;
    auto listed = session.list(folder);
    EXPECT_EQ(listed.size(), broken_are_sent ? 7U : 3U) << session.transcript();
    EXPECT_EQ(listed["file"].attr, FS_ATTR_FILE);
    EXPECT_EQ(listed["file"].size, 10);
    EXPECT_EQ(listed["to far"].attr, FS_ATTR_DIRECTORY);
    // SFTP tells what a link leads to, LIST that it may be entered, facts what the server says of it.
    const bool followed = GetParam().sftp || (facts && GetParam().facts == LinkFacts::kFollowed);
    EXPECT_EQ(listed["to file"].attr, followed ? FS_ATTR_FILE : FS_ATTR_DIRECTORY);
    if (!facts) {
      EXPECT_EQ(listed["to file"].size, 4) << "the link's own";
      EXPECT_EQ(listed["to far"].size, GetParam().sftp ? 0 : 12);
    }

    EXPECT_EQ(session.list(folder + "/to far").count("away.txt"), 1U);
    EXPECT_EQ(session.info(folder + "/to far/away.txt").size, 8);
    EXPECT_EQ(session.read(folder + "/to far/away.txt", 0, 8), "far away");
    EXPECT_EQ(session.info(folder + "/to file").size, 10) << "the target's";
    EXPECT_EQ(session.read(folder + "/to file", 0, 10), "0123456789");

    for (const char* name : {"dangling", "loop", "ring", "gnir"}) {
      SCOPED_TRACE(name);
      if (broken_are_sent) {
        ASSERT_EQ(listed.count(name), 1U) << session.transcript();
        EXPECT_EQ(listed[name].attr, GetParam().sftp ? 0U : FS_ATTR_DIRECTORY);
        EXPECT_EQ(listed[name].size,
                  static_cast<std::int64_t>(
                      fs::read_symlink(place.folder / folder.substr(1) / name).string().size()));
      }
      const std::string path = folder + "/" + name;
      fakes::FileList files;
      EXPECT_EQ(session->GetFileList(path.c_str(), &files, nullptr), FAILED);
      EXPECT_THAT(files.files(), IsEmpty());
      fakes::FetchSink sink;
      EXPECT_EQ(session->Read(path.c_str(), 0, 10, fakes::make_handle(), &sink, nullptr), FILE_READ_FAILED);
      EXPECT_THAT(sink.chunks(), IsEmpty());
      _FS_FILE_V2 file;
      file.attr = FS_ATTR_FILE;
      EXPECT_EQ(session->GetFileInfo(path.c_str(), &file, nullptr), FAILED);
    }
    EXPECT_EQ(session.list(folder).size(), listed.size()) << "no operation is the worse for a failed one";
  }
}

INSTANTIATE_TEST_SUITE_P(, Links, testing::ValuesIn(sites()), label_of);

}  // namespace
