#include "host/remote/operation.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <thread>

#include "host/cli/console.h"

namespace ftp_host {
namespace {

using std::chrono::seconds;

/// What an operation runs in, with a time limit in seconds.
struct Surroundings {
  explicit Surroundings(int limit = 0) : operations{cancellation, console, seconds{limit}} {}
  Cancellation cancellation;
  Console console{0, true};
  Operations operations;
  LifeSign life;
};

TEST(Operation, ReturnsTheCodeAndTheLogOfItsCall) {
  Surroundings in;
  const Outcome outcome = in.operations.run("x", in.life, [] {
    note_log_line(current_operation_log(), "[NETWORK   ] [HEADER   >>] 550 No\r\n");
    return FILE_READ_FAILED;
  });
  EXPECT_EQ(outcome.code, FILE_READ_FAILED);
  EXPECT_EQ(outcome.log.explanation(), "550 No");
}

TEST(Operation, IsStoppedThroughTheHandle) {
  Surroundings in;
  const auto handle = in.cancellation.new_handle();
  std::promise<void> running;
  std::thread stopper{[&] {
    running.get_future().wait();
    in.cancellation.request();
  }};
  try {
    (void)in.operations.run("x", in.life, [&] {
      running.set_value();
      while (std::atomic_ref{handle->state}.load() < FS_HANDLE_STOP) std::this_thread::yield();
      return READ_CANCELED;
    });
    ADD_FAILURE();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::cancelled);
  }
  stopper.join();
}

TEST(Operation, DoesNotBeginAfterAStop) {
  Surroundings in;
  in.cancellation.request();
  bool ran = false;
  EXPECT_THROW((void)in.operations.run("x", in.life,
                                       [&] {
                                         ran = true;
                                         return SUCCESS;
                                       }),
               Failure);
  EXPECT_FALSE(ran);
  EXPECT_GE(in.cancellation.new_handle()->state, FS_HANDLE_STOP);
}

[[noreturn]] void hang() {
  Surroundings in{1};
  std::promise<AERROR> never;
  (void)in.operations.run("listing", in.life, [&] { return never.get_future().get(); });
  _exit(0);
}

[[noreturn]] void work_slowly() {
  Surroundings in{1};
  const Outcome outcome = in.operations.run("slow", in.life, [&] {
    for (int i = 0; i < 15; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds{100});
      in.life.beat();
    }
    return SUCCESS;
  });
  _exit(outcome.code == SUCCESS ? 0 : 1);
}

[[noreturn]] void interrupt_twice() {
  Surroundings in;
  std::promise<AERROR> never;
  (void)in.operations.run("listing", in.life, [&] {
    kill(getpid(), SIGINT);
    while (!in.cancellation.requested()) std::this_thread::yield();
    kill(getpid(), SIGINT);
    return never.get_future().get();
  });
  _exit(0);
}

TEST(OperationDeathTest, EndsTheProcessWhenACallHangs) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(hang(), testing::ExitedWithCode(124), "listing: nothing happened for 1 s");
}

TEST(OperationDeathTest, GrantsMoreTimeForEverySignOfLife) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(work_slowly(), testing::ExitedWithCode(0), "");
}

TEST(OperationDeathTest, ASecondInterruptEndsTheProcessAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(interrupt_twice(), testing::ExitedWithCode(130), "^$");
}

}  // namespace
}  // namespace ftp_host
