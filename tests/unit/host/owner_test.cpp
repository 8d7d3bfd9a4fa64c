#include "host/owner.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace ftp_host {
namespace {

Descriptor open_null() { return Descriptor{open("/dev/null", O_RDONLY | O_CLOEXEC)}; }
bool is_open(int file) { return fcntl(file, F_GETFD) != -1; }

TEST(Owner, GivesBackWhatItHasAndNothingElse) {
  int file = -1;
  {
    const Descriptor owner = open_null();
    ASSERT_TRUE(owner);
    file = owner.get();
    EXPECT_TRUE(is_open(file));
  }
  EXPECT_FALSE(is_open(file));
  EXPECT_FALSE(Descriptor{});
  EXPECT_FALSE(Library{});
}

TEST(Owner, MovesWithoutGivingBackTwice) {
  Descriptor first = open_null();
  const int file = first.get();
  Descriptor second{std::move(first)};
  EXPECT_EQ(second.get(), file);
  EXPECT_TRUE(is_open(file));
  second = open_null();
  EXPECT_TRUE(is_open(second.get()));
}

TEST(Owner, OwnsNothingAfterItReleased) {
  Descriptor owner = open_null();
  const Descriptor other{owner.release()};
  EXPECT_FALSE(owner);
  EXPECT_TRUE(is_open(other.get()));
}

}  // namespace
}  // namespace ftp_host
