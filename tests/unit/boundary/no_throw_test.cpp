#include "boundary/no_throw.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

#include "boundary/abi/error_codes.h"
#include "boundary/host_bindings.h"

namespace {
bool memory_is_short = false;
}  // namespace

// What this program allocates with new, so that a test can run short of memory.
void* operator new(std::size_t size) {
  void* const block = memory_is_short ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc{};
  }
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace ftp_plugin {
namespace {

/// Keeps the last line without any memory of its own.
class LastLine final : public ILog {
 public:
  LastLine() { EXPECT_TRUE(bind_logger(this)); }
  LastLine(const LastLine&) = delete;
  LastLine& operator=(const LastLine&) = delete;
  ~LastLine() { unbind_logger(); }

  void Reserved() override {}
  int IsTracing() override { return 0; }
  void Write(LOGLEVEL level, const char* format, va_list arguments) override {
    const int length = std::snprintf(text_, sizeof text_, "%d ", static_cast<int>(level));
    std::vsnprintf(text_ + length, sizeof text_ - static_cast<std::size_t>(length), format, arguments);
    ++lines;
  }
  [[nodiscard]] std::string text() const { return text_; }
  int lines = 0;

 private:
  char text_[256] = "";
};

TEST(NoThrow, ReturnsTheResultOfItsBodyAndWritesNothing) {
  const LastLine log;
  EXPECT_EQ(no_throw("Read", FILE_READ_FAILED, [] { return SUCCESS; }), SUCCESS);
  EXPECT_EQ(log.lines, 0);
}

TEST(NoThrow, TurnsAnExceptionIntoTheFailureAndOneLine) {
  const LastLine log;
  EXPECT_EQ(no_throw("Read", FILE_READ_FAILED, []() -> AERROR { throw std::runtime_error{"no socket"}; }),
            FILE_READ_FAILED);
  EXPECT_EQ(log.text(), "8 [PROTOCOL  ] Read exception: [no socket]");
  EXPECT_EQ(log.lines, 1);
}

TEST(NoThrow, NamesACodeThatIsThrown) {
  const LastLine log;
  EXPECT_EQ(no_throw("SetOpt", SUCCESS, []() -> AERROR { throw AERROR{JSON_PARSE_FAILED}; }), SUCCESS);
  EXPECT_EQ(log.text(), "8 [PROTOCOL  ] SetOpt exception: [JSON_PARSE_FAILED]");
}

TEST(NoThrow, TellsOfWhatHasNoText) {
  const LastLine log;
  EXPECT_EQ(no_throw("progress", 0, []() -> int { throw 7; }), 0);
  EXPECT_EQ(log.text(), "8 [PROTOCOL  ] progress exception: [unknown]");
}

TEST(NoThrow, TellsOfAnExceptionWhenMemoryIsShort) {
  const LastLine log;
  memory_is_short = true;
  const bool made = no_throw("GetProtocol", false, [] { return !std::string(100, 'x').empty(); });
  memory_is_short = false;
  EXPECT_FALSE(made);
  EXPECT_EQ(log.text(), "8 [PROTOCOL  ] GetProtocol exception: [std::bad_alloc]");
}

TEST(NoThrow, NeedsNoLogger) {
  EXPECT_EQ(no_throw("Read", FAILED, []() -> AERROR { throw std::runtime_error{"nobody listens"}; }), FAILED);
}

}  // namespace
}  // namespace ftp_plugin
