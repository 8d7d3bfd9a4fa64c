// Which replies are told to be no answer, by what came in and what was shown of it.
#include "transport/ftp/byte_account.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ftp_plugin {
namespace {

/// A control connection whose bytes the test lets come in, be read and be shown.
class Conversation {
 public:
  explicit Conversation(bool encrypted = false) { account_.begin_connection(encrypted); }

  Conversation& comes(std::int64_t bytes) {
    socket_.came += bytes;
    return *this;
  }
  Conversation& is_read() {
    socket_.taken = socket_.came;
    return *this;
  }
  /// `line` comes in and is read at once.
  Conversation& hears(std::string_view line, std::int64_t overhead = 0) {
    return comes(static_cast<std::int64_t>(line.size()) + overhead).is_read().sees(line);
  }
  /// libcurl shows a line that it has read before.
  Conversation& sees(std::string_view line) {
    account_.take_line(line, socket_);
    return *this;
  }
  Conversation& says(std::string_view command) {
    account_.take_command(command, socket_);
    return *this;
  }
  /// The greeting and the answer to a first command.
  Conversation& logs_in(std::int64_t overhead = 0) {
    return hears("220 a\r\n", overhead).says("USER a\r\n").hears("230 b\r\n", overhead);
  }
  Conversation& begins_request() {
    account_.begin_request();
    return *this;
  }
  Conversation& is_not_counted() {
    socket_.counts = false;
    return *this;
  }

  [[nodiscard]] bool has_unasked_bytes() const { return account_.has_unasked_bytes(); }
  [[nodiscard]] bool is_out_of_step() const { return account_.is_out_of_step(); }
  [[nodiscard]] bool awaits_nothing() const { return account_.awaits_nothing(socket_); }

 private:
  struct Socket {
    std::int64_t came = 0;
    std::int64_t taken = 0;
    bool counts = true;
    [[nodiscard]] std::optional<std::int64_t> received() const {
      return counts ? std::optional{came} : std::nullopt;
    }
    [[nodiscard]] std::optional<std::int64_t> read() const {
      return counts ? std::optional{taken} : std::nullopt;
    }
    [[nodiscard]] std::int64_t waiting() const { return came - taken; }
  };

  byte_account account_;
  Socket socket_;
};

constexpr std::int64_t kRecord = 29;  // what TLS puts around a line

TEST(ByteAccount, FindsNothingWhereEveryReplyAnswersACommand) {
  Conversation talk;
  talk.logs_in().says("TYPE I\r\n").hears("200 c\r\n").says("FEAT\r\n");
  talk.hears("211-d\r\n").hears(" MFMT\r\n").hears("211 e\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes());
  EXPECT_FALSE(talk.is_out_of_step());
}

TEST(ByteAccount, TellsASecondReplyThatWasReadWithTheFirst) {
  Conversation talk;
  talk.logs_in().says("RNFR a\r\n").comes(14).is_read().sees("350 c\r\n");
  EXPECT_TRUE(talk.has_unasked_bytes());
  EXPECT_FALSE(talk.is_out_of_step()) << "as long as nothing else is asked";
  talk.says("RNTO b\r\n").sees("250 d\r\n");
  EXPECT_TRUE(talk.is_out_of_step());
}

TEST(ByteAccount, TellsASecondReplyThatWaits) {
  Conversation talk;
  talk.logs_in().says("RNFR a\r\n").hears("350 c\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes());
  talk.says("NOOP\r\n").comes(7).is_read().comes(7).sees("200 c\r\n");
  EXPECT_TRUE(talk.has_unasked_bytes());
  talk.says("RNTO b\r\n").is_read().sees("250 d\r\n");
  EXPECT_TRUE(talk.is_out_of_step());
}

TEST(ByteAccount, TellsHalfALine) {
  Conversation talk;
  talk.logs_in().says("RNFR a\r\n").comes(9).is_read().sees("350 c\r\n");
  EXPECT_TRUE(talk.has_unasked_bytes());
  talk.says("RNTO b\r\n").comes(5).is_read().sees("250-d\r\n");
  EXPECT_TRUE(talk.is_out_of_step());
}

TEST(ByteAccount, TellsASecondGreetingWhoeverReadIt) {
  Conversation talk;
  talk.comes(14).is_read().sees("220 a\r\n").says("USER a\r\n").sees("230 b\r\n");
  EXPECT_TRUE(talk.is_out_of_step());
}

TEST(ByteAccount, LinesWithoutACodeAnswerNothing) {
  Conversation empty_line;
  empty_line.logs_in().says("NOOP\r\n").comes(9).is_read().sees("200 c\r\n");
  EXPECT_TRUE(empty_line.has_unasked_bytes());
  empty_line.says("PWD\r\n").sees("\r\n").hears("257 d\r\n");
  EXPECT_FALSE(empty_line.is_out_of_step());
  EXPECT_FALSE(empty_line.has_unasked_bytes());

  Conversation greeting;
  greeting.comes(16).is_read().sees("220 a\r\n").says("USER a\r\n").sees("Welcome\r\n").hears("230 b\r\n");
  EXPECT_FALSE(greeting.is_out_of_step());
  EXPECT_FALSE(greeting.has_unasked_bytes());

  Conversation with_a_reply;
  with_a_reply.logs_in().says("NOOP\r\n").comes(16).is_read().sees("200 c\r\n");
  with_a_reply.says("PWD\r\n").sees("\r\n").sees("250 d\r\n");
  EXPECT_TRUE(with_a_reply.is_out_of_step()) << "behind them may stand what was taken for an answer";
}

TEST(ByteAccount, LeavesTheWordsOfASocksProxyAside) {
  Conversation talk;
  talk.comes(12).is_read().logs_in().says("NOOP\r\n").hears("200 c\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes());
  talk.says("NOOP\r\n").comes(14).is_read().sees("200 d\r\n");
  EXPECT_TRUE(talk.has_unasked_bytes());
}

TEST(ByteAccount, CountsTheLinesOfAnHttpProxy) {
  Conversation talk;
  talk.says("CONNECT a:21 HTTP/1.1\r\n\r\n").hears("HTTP/1.1 200 OK\r\n").hears("\r\n").logs_in();
  EXPECT_FALSE(talk.has_unasked_bytes());
  EXPECT_FALSE(talk.is_out_of_step());
}

TEST(ByteAccount, TheEndOfATransferMayComeWithItsBeginning) {
  Conversation talk;
  talk.logs_in().says("RETR a\r\n");
  EXPECT_FALSE(talk.awaits_nothing());
  talk.comes(14).is_read().sees("150 c\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes());
  EXPECT_TRUE(talk.awaits_nothing()) << "libcurl holds the final reply";
  talk.sees("226 d\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes());
  EXPECT_FALSE(talk.awaits_nothing());
  EXPECT_FALSE(talk.is_out_of_step());
}

TEST(ByteAccount, AFinalReplyThatWaitsIsAwaitedNoMore) {
  Conversation talk;
  talk.logs_in().says("RETR a\r\n").hears("150 c\r\n");
  EXPECT_FALSE(talk.awaits_nothing());
  talk.comes(3);
  EXPECT_TRUE(talk.awaits_nothing());
}

TEST(ByteAccount, DecidesNothingBehindTheEndOfATransfer) {
  Conversation talk;
  talk.logs_in().says("RETR a\r\n").hears("150 c\r\n").comes(14).is_read().sees("226 d\r\n");
  talk.says("QUIT\r\n").sees("226 e\r\n");
  EXPECT_FALSE(talk.is_out_of_step());
  talk.begins_request().says("DELE a\r\n").comes(7).is_read().sees("250 f\r\n");
  talk.says("NOOP\r\n").comes(7).is_read().comes(7).sees("200 g\r\n");
  EXPECT_TRUE(talk.has_unasked_bytes()) << "but in the next request again";
}

TEST(ByteAccount, OverTlsTellsAReplyThatWasReadBeforeItsCommand) {
  Conversation talk{true};
  talk.logs_in(kRecord).says("NOOP\r\n").comes(14 + kRecord).is_read().sees("200 c\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes()) << "lines and records cannot be compared";
  EXPECT_FALSE(talk.awaits_nothing());
  talk.says("DELE a\r\n").sees("250 d\r\n");
  EXPECT_TRUE(talk.is_out_of_step());
}

TEST(ByteAccount, OverTlsTellsASecondRecord) {
  Conversation talk{true};
  talk.logs_in(kRecord).says("NOOP\r\n").comes(7 + kRecord).is_read().comes(7 + kRecord).sees("200 c\r\n");
  EXPECT_TRUE(talk.has_unasked_bytes());
  talk.says("DELE a\r\n").is_read().sees("250 d\r\n");
  EXPECT_TRUE(talk.is_out_of_step());
}

TEST(ByteAccount, TlsBeginsWhereTheServerTakesIt) {
  Conversation taken;
  taken.hears("220 a\r\n").says("AUTH TLS\r\n").hears("234 b\r\n").comes(5000).is_read();
  taken.says("USER a\r\n").hears("230 c\r\n", kRecord).says("PWD\r\n").hears("257 d\r\n", kRecord);
  EXPECT_FALSE(taken.has_unasked_bytes());
  EXPECT_FALSE(taken.is_out_of_step());

  Conversation refused;
  refused.hears("220 a\r\n").says("AUTH TLS\r\n").hears("502 b\r\n").says("USER a\r\n").hears("230 c\r\n");
  refused.says("NOOP\r\n").comes(14).is_read().sees("200 d\r\n");
  EXPECT_TRUE(refused.has_unasked_bytes());
}

TEST(ByteAccount, SaysNothingWhereTheSystemDoesNotCount) {
  Conversation talk;
  talk.is_not_counted().logs_in().says("NOOP\r\n").comes(14).is_read().sees("200 c\r\n");
  talk.says("DELE a\r\n").sees("250 d\r\n");
  EXPECT_FALSE(talk.has_unasked_bytes());
  EXPECT_FALSE(talk.is_out_of_step());
  EXPECT_FALSE(talk.awaits_nothing());
}

}  // namespace
}  // namespace ftp_plugin
