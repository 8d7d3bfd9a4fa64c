#include "common/owner.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

namespace ftp_plugin {
namespace {

std::vector<int> freed;  // by the functions below, in order

int free_number(int* number) {  // C libraries' functions often return a code
  freed.push_back(*number);
  return 1;
}

struct number_kind {
  using handle = int;
  static handle none() noexcept { return -7; }
  static void close(handle number) noexcept { freed.push_back(number); }
};
using number = handle_owner<number_kind>;

static_assert(!std::is_copy_constructible_v<number> && !std::is_copy_assignable_v<number>);
static_assert(std::is_nothrow_move_constructible_v<number> && std::is_nothrow_move_assignable_v<number>);
static_assert(sizeof(owner<int, free_number>) == sizeof(int*));
static_assert(sizeof(descriptor) == sizeof(int));

class Owner : public testing::Test {
 protected:
  void SetUp() override { freed.clear(); }
};
using HandleOwner = Owner;

TEST_F(Owner, FreesOnceWhereItsScopeEnds) {
  int three = 3;
  {
    const owner<int, free_number> owned{&three};
    EXPECT_TRUE(freed.empty());
  }
  EXPECT_EQ(freed, std::vector<int>{3});
}

TEST_F(Owner, NeverFreesNull) {
  { const owner<int, free_number> nothing; }
  EXPECT_TRUE(freed.empty());
}

TEST_F(HandleOwner, HoldsNothingAtFirst) {
  {
    const number nothing;
    EXPECT_FALSE(nothing);
    EXPECT_EQ(nothing.get(), -7);
  }
  EXPECT_TRUE(freed.empty());
}

TEST_F(HandleOwner, ClosesWhenAnExceptionLeavesItsScope) {
  EXPECT_THROW(
      {
        const number owned{0};  // null of other handles is a handle here
        EXPECT_TRUE(owned);
        throw std::runtime_error{"test"};
      },
      std::runtime_error);
  EXPECT_EQ(freed, std::vector<int>{0});
}

TEST_F(HandleOwner, IsEmptyOnceMovedFrom) {
  number from{1};
  number to{std::move(from)};
  EXPECT_FALSE(from);  // NOLINT(bugprone-use-after-move): what is left is what the test asks for
  EXPECT_EQ(to.get(), 1);
  number over{2};
  over = std::move(to);
  EXPECT_EQ(freed, std::vector<int>{2});
  EXPECT_EQ(over.get(), 1);
}

TEST_F(HandleOwner, SurvivesItsOwnMove) {
  number owned{4};
  number& same = owned;
  owned = std::move(same);
  EXPECT_EQ(owned.get(), 4);
  EXPECT_TRUE(freed.empty());
}

TEST_F(HandleOwner, GivesAwayWhatItOwns) {
  {
    number owned{5};
    EXPECT_EQ(owned.release(), 5);
    EXPECT_FALSE(owned);
  }
  EXPECT_TRUE(freed.empty());
}

TEST_F(HandleOwner, ClosesTheOldHandleForANewOneOnly) {
  number owned{6};
  owned.reset(6);
  EXPECT_TRUE(freed.empty());
  owned.reset(7);
  owned.reset();
  owned.reset();
  EXPECT_EQ(freed, (std::vector<int>{6, 7}));
}

TEST(Descriptor, IsClosedWithItsOwner) {
  int raw = -1;
  {
    const descriptor file{open("/dev/null", O_RDONLY | O_CLOEXEC)};
    ASSERT_TRUE(file);
    raw = file.get();
    EXPECT_NE(fcntl(raw, F_GETFD), -1);
  }
  EXPECT_EQ(fcntl(raw, F_GETFD), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(Descriptor, IsFalseWhereOpenFails) {
  const descriptor file{open("/no such file", O_RDONLY | O_CLOEXEC)};
  EXPECT_FALSE(file);
}

}  // namespace
}  // namespace ftp_plugin
