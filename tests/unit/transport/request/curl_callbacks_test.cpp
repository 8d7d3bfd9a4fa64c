#include "transport/request/curl_callbacks.h"

#include <event2/buffer.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <limits>
#include <string>

namespace ftp_plugin {
namespace {

std::string read_all(read_cursor& cursor, std::size_t at_once) {
  std::string all;
  std::string piece(at_once, '\0');
  while (const std::size_t got = read_from_cursor(piece.data(), 1, at_once, &cursor))
    all.append(piece, 0, got);
  return all;
}

TEST(DiscardBody, AcceptsEveryByteAndNeedsNoPlaceForIt) {
  char data[] = "some bytes";
  EXPECT_EQ(discard_body(data, 2, 5, nullptr), 10U);
}

TEST(AppendToBuffer, KeepsBlocksInOrderAndAnswersTheirSize) {
  evbuffer* buffer = evbuffer_new();
  char first[] = "one ";
  char second[] = "two";
  EXPECT_EQ(append_to_buffer(first, 1, 4, buffer), 4U);
  EXPECT_EQ(append_to_buffer(second, 3, 1, buffer), 3U);
  EXPECT_EQ(append_to_buffer(second, 1, 0, buffer), 0U);
  std::string all(evbuffer_get_length(buffer), '\0');
  evbuffer_remove(buffer, all.data(), all.size());
  EXPECT_EQ(all, "one two");
  evbuffer_free(buffer);
}

TEST(ReadFromCursor, DeliversTheTextInPiecesAndThenNothing) {
  read_cursor cursor{"hello world", 0, 11};
  EXPECT_EQ(read_all(cursor, 4), "hello world");
  char byte = 'x';
  EXPECT_EQ(read_from_cursor(&byte, 1, 1, &cursor), 0U);
  EXPECT_EQ(byte, 'x');
}

TEST(ReadFromCursor, CountsSizeTimesNumber) {
  read_cursor cursor{"0123456789", 0, 10};
  char out[6];
  EXPECT_EQ(read_from_cursor(out, 2, 3, &cursor), 6U);
  EXPECT_EQ(std::string(out, 6), "012345");
  EXPECT_EQ(cursor.position, 6U);
}

TEST(ReadFromCursor, DeliversNothingFromAnEmptyTextOrWithoutCursor) {
  read_cursor cursor{nullptr, 0, 0};
  char byte = 'x';
  EXPECT_EQ(read_from_cursor(&byte, 1, 1, &cursor), 0U);
  EXPECT_EQ(read_from_cursor(&byte, 1, 1, nullptr), 0U);
}

struct SeekCase {
  const char* label;
  std::uint64_t from;
  curl_off_t offset;
  int origin;
  const char* rest;  // what is read afterwards
};
constexpr SeekCase kSeekCases[] = {
    {"SetGoesToThePosition", 7, 2, SEEK_SET, "23456789"},
    {"SetToZeroRewinds", 10, 0, SEEK_SET, "0123456789"},
    {"CurrentAddsToThePosition", 3, 4, SEEK_CUR, "789"},
    {"CurrentStepsBack", 3, -2, SEEK_CUR, "123456789"},
    {"EndCountsFromTheLength", 0, -1, SEEK_END, "9"},
    {"EndItselfReadsNothing", 0, 0, SEEK_END, ""},
    {"BeyondTheEndReadsNothing", 0, 5, SEEK_END, ""},
    {"BeforeTheBeginningReadsNothing", 0, -1, SEEK_CUR, ""},
    {"FarBeforeTheBeginningReadsNothing", 0, std::numeric_limits<curl_off_t>::min(), SEEK_SET, ""},
};
class SeekOrigin : public testing::TestWithParam<SeekCase> {};
TEST_P(SeekOrigin, MovesTheCursor) {
  const SeekCase& want = GetParam();
  read_cursor cursor{"0123456789", want.from, 10};
  EXPECT_EQ(seek_cursor(&cursor, want.offset, want.origin), CURL_SEEKFUNC_OK);
  EXPECT_EQ(read_all(cursor, 16), want.rest);
}
INSTANTIATE_TEST_SUITE_P(, SeekOrigin, testing::ValuesIn(kSeekCases),
                         [](const auto& row) { return row.param.label; });

TEST(SeekCursor, FailsOnlyWithoutACursor) { EXPECT_EQ(seek_cursor(nullptr, 0, SEEK_SET), 1); }

int send_buffer_of(int socket) {
  int bytes = 0;
  socklen_t length = sizeof bytes;
  getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &bytes, &length);
  return bytes;
}

TEST(EnlargeSendBuffer, AsksForOneMebibyte) {
  const int ours = socket(AF_INET, SOCK_STREAM, 0);
  const int reference = socket(AF_INET, SOCK_STREAM, 0);
  const int before = send_buffer_of(ours);
  const int wanted = 1048576;
  setsockopt(reference, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);  // the system may cap it
  EXPECT_EQ(enlarge_send_buffer(nullptr, ours, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
  EXPECT_EQ(send_buffer_of(ours), send_buffer_of(reference));
  EXPECT_GT(send_buffer_of(ours), before);
  close(ours);
  close(reference);
}

TEST(EnlargeSendBuffer, IsContentWhenTheSystemRefuses) {
  EXPECT_EQ(enlarge_send_buffer(nullptr, -1, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
}

}  // namespace
}  // namespace ftp_plugin
