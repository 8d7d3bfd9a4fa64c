#include "boundary/log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <string>
#include <vector>

namespace ftp_plugin {
namespace {

class Lines final : public ILog {
 public:
  void Reserved() override { ADD_FAILURE() << "slot 1 is never called"; }
  int IsTracing() override { return 0; }
  void Write(LOGLEVEL level, const char* format, va_list arguments) override {
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    lines.push_back(std::to_string(level) + " " + text);
  }
  std::vector<std::string> lines;
};

class Log : public testing::Test {
 protected:
  ~Log() override { unbind_logger(); }
  Lines lines;
};

TEST_F(Log, NeedsNoLogger) {
  unbind_logger();
  __LOG__A(current_logger(), LOGLEVEL_INFO, "%s", "nobody listens");
  EXPECT_TRUE(lines.lines.empty());
}

TEST_F(Log, HandsLevelAndArgumentsToTheLogger) {
  ASSERT_TRUE(bind_logger(&lines));
  __LOG__A(current_logger(), LOGLEVEL_DEBUG, "%s-%lld", "a", 5LL);
  EXPECT_EQ(lines.lines, std::vector<std::string>{"2 a-5"});
}

TEST_F(Log, ANullLoggerIsRefusedAndTheBoundOneStays) {
  ASSERT_TRUE(bind_logger(&lines));
  EXPECT_FALSE(bind_logger(nullptr));
  EXPECT_EQ(current_logger(), &lines);
}

TEST_F(Log, ASecondLoggerReplacesTheFirst) {
  Lines second;
  ASSERT_TRUE(bind_logger(&lines));
  ASSERT_TRUE(bind_logger(&second));
  log_operation("Read", "/a");
  EXPECT_TRUE(lines.lines.empty());
  EXPECT_EQ(second.lines, std::vector<std::string>{"1 [PROTOCOL  ] Read id: [/a]"});
}

TEST_F(Log, ANullPathIsAnEmptyText) {
  ASSERT_TRUE(bind_logger(&lines));
  log_operation("Read", nullptr);
  log_exec_error("Read", nullptr, 28);
  EXPECT_EQ(lines.lines, (std::vector<std::string>{"1 [PROTOCOL  ] Read id: []",
                                                   "8 [PROTOCOL  ] Read id: [] , exec error: [28]"}));
}

TEST_F(Log, ALoggerThatThrowsLosesItsLineAndNothingElse) {
  class Throwing final : public ILog {
   public:
    void Reserved() override {}
    int IsTracing() override { return 0; }
    void Write(LOGLEVEL, const char*, va_list) override { throw std::bad_alloc{}; }
  } throwing;
  ASSERT_TRUE(bind_logger(&throwing));
  log_operation("Read", "/a");
  ASSERT_TRUE(bind_logger(&lines));
  log_operation("Read", "/b");
  EXPECT_EQ(lines.lines, std::vector<std::string>{"1 [PROTOCOL  ] Read id: [/b]"});
}

TEST(HostBindings, ANullQueueIsRefused) {
  int queue = 0;
  EXPECT_FALSE(bind_async_queue(nullptr));
  EXPECT_TRUE(bind_async_queue(&queue));
  unbind_async_queue();
}

}  // namespace
}  // namespace ftp_plugin
