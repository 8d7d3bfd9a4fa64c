// The scan for a VxWorks header as it is by default: on a first line with a word that is not due it never
// comes back. Each such call runs in a child process, which is watched and then stopped. This program
// compiles the scan itself, so it tests the default whatever the project is configured with.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "listing/vxworks_line.h"

namespace ftp_plugin {
namespace {

using namespace std::chrono_literals;

/// A child that makes one call and then ends; destroyed with it.
class Caller {
 public:
  explicit Caller(const char* line) {
    std::array<int, 2> started{};
    if (pipe(started.data()) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      alarm(60);  // should the parent go away first
      const char ready = 1;
      if (write(started[1], &ready, 1) != 1) _exit(2);
      _exit(is_vxworks_server(line) ? 1 : 0);
    }
    close(started[1]);
    char ready = 0;
    started_ = pid_ > 0 && read(started[0], &ready, 1) == 1;
    close(started[0]);
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  ~Caller() {
    if (pid_ <= 0 || ended_) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  [[nodiscard]] bool started() const { return started_; }
  /// True when the call came back within `time`.
  [[nodiscard]] bool ends_within(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!ended_ && std::chrono::steady_clock::now() < deadline) {
      ended_ = waitpid(pid_, &status_, WNOHANG) == pid_;
      if (!ended_) std::this_thread::sleep_for(2ms);
    }
    return ended_;
  }
  [[nodiscard]] int answer() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }
  /// 'S' when the child sleeps.
  [[nodiscard]] char state() const {
    std::ifstream file{"/proc/" + std::to_string(pid_) + "/stat"};
    std::string text;
    std::getline(file, text);
    const std::size_t name_end = text.rfind(')');
    return name_end == std::string::npos || name_end + 2 >= text.size() ? '?' : text[name_end + 2];
  }
  /// Waits until the child sleeps; false when it does not in time.
  [[nodiscard]] bool falls_asleep() const {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (state() != 'S') {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(2ms);
    }
    return true;
  }
  /// Processor time of the child so far.
  [[nodiscard]] std::chrono::milliseconds used() const {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &time) != 0) return -1ms;
    return std::chrono::milliseconds{time.tv_sec * 1000 + time.tv_nsec / 1'000'000};
  }

 private:
  pid_t pid_ = -1;
  bool started_ = false;
  bool ended_ = false;
  int status_ = 0;
};

class EndlessScan : public testing::TestWithParam<const char*> {};

TEST_P(EndlessScan, NeverComesBackAndSleeps) {
  Caller caller{GetParam()};
  ASSERT_TRUE(caller.started());
  ASSERT_TRUE(caller.falls_asleep());
  const auto before = caller.used();
  ASSERT_GE(before, 0ms);
  EXPECT_FALSE(caller.ends_within(300ms));
  EXPECT_EQ(caller.state(), 'S');
  EXPECT_LE(caller.used() - before, 20ms);
}
INSTANTIATE_TEST_SUITE_P(Lines, EndlessScan,
                         testing::Values("total 42", "size total", "Size date time name", "date time name",
                                         "size\tdate time name", "size time date name", "size date time 5"));

TEST(ScanInAChild, AnswersLinesThatFit) {
  Caller header{"  size  date   time   name"};
  ASSERT_TRUE(header.ends_within(20s));
  EXPECT_EQ(header.answer(), 1);
  Caller other{"size data"};
  ASSERT_TRUE(other.ends_within(20s));
  EXPECT_EQ(other.answer(), 0);
}

}  // namespace
}  // namespace ftp_plugin
