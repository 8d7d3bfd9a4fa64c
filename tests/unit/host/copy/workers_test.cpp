#include "host/copy/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>

#include "host/failure.h"

namespace ftp_host {
namespace {

TEST(RunParallel, RunsEveryStepOnce) {
  std::mutex mutex;
  std::multiset<std::size_t> seen;
  run_parallel(4, 100, [&](std::size_t index) {
    const std::lock_guard lock{mutex};
    seen.insert(index);
  });
  EXPECT_EQ(seen.size(), 100u);
  EXPECT_EQ(std::set<std::size_t>(seen.begin(), seen.end()).size(), 100u);
}

TEST(RunParallel, StopsWithTheFirstException) {
  std::atomic<int> runs{0};
  EXPECT_THROW(run_parallel(2, 1000000,
                            [&](std::size_t) {
                              ++runs;
                              throw Failure{ExitCode::cancelled, "cancelled"};
                            }),
               Failure);
  EXPECT_LE(runs.load(), 2);
  EXPECT_NO_THROW(run_parallel(2, 0, [](std::size_t) { throw 1; }));
}

}  // namespace
}  // namespace ftp_host
