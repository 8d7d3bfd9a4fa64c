// A file beyond 4 GiB, and a folder with 100,000 entries.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/fakes/bytes.h"
#include "tests/live/other_mount.h"
#include "tests/live/session.h"
#include "tests/live/sites.h"

namespace {

using live::label_of;
using live::one_site_of_each_protocol;
using live::OtherMount;
using live::Place;
using live::Site;
using live::sites;
namespace fs = std::filesystem;
using fakes::some_bytes;
using live::Session;

/// Creates `path`, its last bytes `tail`, before them a hole up to `size`.
void write_sparse(const fs::path& path, long long size, const std::string& tail) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  ASSERT_GE(file, 0) << path;
  const auto tail_size = static_cast<long long>(tail.size());
  EXPECT_EQ(ftruncate(file, size), 0);
  EXPECT_EQ(pwrite(file, tail.data(), tail.size(), size - tail_size), tail_size);
  close(file);
}

class LargeFile : public testing::TestWithParam<Site> {};

TEST_P(LargeFile, OfFourGibAndAByteIsReadAtItsEnd) {
  constexpr long long kSize = (4LL << 30) + 1;
  const Place place = GetParam().open("UTC");
  const std::string tail = some_bytes(200'001);
  write_sparse(place.folder / "large", kSize, tail);
  place.hand_over();
  const Session session = place.log_in();
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
  EXPECT_EQ(session.list("/")["large"].size, kSize);
  EXPECT_EQ(session.info("/large").size, kSize);
  // A range of its own for the byte behind 4 GiB, the ones on both sides of it, and the whole tail.
  for (const std::size_t length : {1UL, 2UL, 65'537UL, 200'001UL}) {
    const auto range = static_cast<long long>(length);
    EXPECT_TRUE(session.read("/large", kSize - range, range) == tail.substr(tail.size() - length)) << length;
  }
  // A place that 32 bits would take for the beginning of the tail.
  EXPECT_EQ(session.read("/large", (2LL << 30) - 1, 2), std::string(2, '\0'));
}

INSTANTIATE_TEST_SUITE_P(, LargeFile, testing::ValuesIn(sites()), label_of);

class LargeFolder : public testing::TestWithParam<Site> {};

TEST_P(LargeFolder, OfAHundredThousandEntriesIsListedWhole) {
  constexpr int kCount = 100'000;
  OtherMount::keep_to_this_process();
  const Place place = GetParam().open("UTC");
  const OtherMount in_memory{place.folder / "many"};  // a disk takes most of the test's time
  const int folder = open((place.folder / "many").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(folder, 0);
  const auto name_of = [](int number) { return "entry " + std::to_string(number) + ".txt"; };
  for (int number = 0; number < kCount; ++number) {
    const int file = openat(folder, name_of(number).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0) << number;
    close(file);
  }
  close(folder);

  const Session session = place.log_in();
  ASSERT_EQ(session.result(), SUCCESS);
  const auto listed = session.list("/many");
  EXPECT_EQ(listed.size(), static_cast<std::size_t>(kCount));
  int missing = 0;
  for (int number = 0; number < kCount; ++number) {
    const auto found = listed.find(name_of(number));
    if (found == listed.end() || found->second.attr != FS_ATTR_FILE || found->second.size != 0) ++missing;
  }
  EXPECT_EQ(missing, 0);
}

INSTANTIATE_TEST_SUITE_P(, LargeFolder, testing::ValuesIn(one_site_of_each_protocol()), label_of);

}  // namespace
