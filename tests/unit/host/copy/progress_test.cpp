#include "host/copy/progress.h"

#include <gtest/gtest.h>

namespace ftp_host {
namespace {

TEST(Progress, IsActiveBetweenItsBeginAndItsEnd) {
  Progress progress;
  EXPECT_FALSE(progress.snapshot().active);
  progress.begin(100, 2);
  EXPECT_TRUE(progress.snapshot().active);
  EXPECT_EQ(progress.snapshot().total, 100);
  EXPECT_EQ(progress.snapshot().files_total, 2u);
  progress.end();
  EXPECT_FALSE(progress.snapshot().active);
}

TEST(Progress, KnowsAFileForAsLongAsItLives) {
  Progress progress;
  progress.begin(30);
  {
    Progress::File file{progress, "f", 30};
    file.skipped(10);
    file.moved(5);
    const Progress::Snapshot now = progress.snapshot();
    ASSERT_EQ(now.files.size(), 1u);
    EXPECT_EQ(now.files[0].name, "f");
    EXPECT_EQ(now.files[0].size, 30);
    EXPECT_EQ(now.files[0].done, 15);
  }
  progress.file_done();
  const Progress::Snapshot now = progress.snapshot();
  EXPECT_TRUE(now.files.empty());
  EXPECT_EQ(now.done, 15);
  EXPECT_EQ(now.skipped, 10);
  EXPECT_EQ(now.files_done, 1u);
}

}  // namespace
}  // namespace ftp_host
