#include "boundary/error_codes.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>
#include <tuple>

namespace ftp_plugin {
namespace {

constexpr const char* kUnknown = "Unknown";

struct NameCase {
  int code;
  const char* name;
};

constexpr NameCase kNameCases[] = {
    {0, "SUCCESS"},
    {1, "FAILED"},
    {3, "INSUFFICIENT_BUFFER"},
    {17, "FILE_NOT_FOUND"},
    {22, "ACCESS_DENIED"},
    {39, "BAD_ARGUMENTS"},
    {40, kUnknown},
    {-1, kUnknown},
    {1000, "ASYNCQ_STOPPED"},
    {1003, kUnknown},
    {2000, kUnknown},
    {2001, "FS_UNKNOWN_ERROR"},
    {2013, "FS_NEED_AUTHORIZE"},
    {2014, kUnknown},
    {3001, "CACHE_TOO_SMALL"},
    {3014, "CACHE_NO_RESERVED_BLOCKS"},
    {3015, kUnknown},
    {4004, "CERT_ISSUER_NOT_FOUND"},
    {6000, "JSON_ERROR"},
    {6001, "JSON_PARSE_FAILED"},
    {7003, "AUTH_FAILED"},
    {7004, kUnknown},  // reserved
    {7005, "AUTH_INVALID_APP"},
    {7006, "AUTH_KEY_NOT_FOUND"},
    {7007, kUnknown},
    {8001, "SOCK_CONNECTION_REFUSED"},
    {8010, "SOCK_ADDRESS_NOT_AVALIABLE"},  // the name is spelt like this
    {8024, "SOCK_UNKNOWN_SOCKET_ERROR"},
    {8025, kUnknown},
};

TEST(ErrorCodes, HaveTheNamesThatHostsShow) {
  for (const NameCase& want : kNameCases) {
    EXPECT_STREQ(error_name(static_cast<AERROR>(want.code)), want.name) << want.code;
  }
}

TEST(ErrorCodes, CoverTheRangesWithoutGapsAndNothingElse) {
  constexpr std::array<std::pair<int, int>, 8> kRanges = {{{0, 39},
                                                           {1000, 1002},
                                                           {2001, 2013},
                                                           {3001, 3014},
                                                           {4000, 4004},
                                                           {6000, 6001},
                                                           {7000, 7006},
                                                           {8001, 8024}}};
  std::set<std::string> names;
  for (int code = -100; code < 9000; ++code) {
    bool named = false;
    for (const auto& [first, last] : kRanges) named = named || (code >= first && code <= last);
    if (code == 7004) named = false;
    const std::string name = error_name(static_cast<AERROR>(code));
    EXPECT_EQ(name != kUnknown, named) << code;
    if (!named) continue;
    EXPECT_TRUE(names.insert(name).second) << name << " names two codes";
  }
  EXPECT_EQ(names.size(), 107U);
}

TEST(ErrorCodes, OnlyAMissingFileHasItsOwnPosixNumber) {
  EXPECT_EQ(error_to_posix(SUCCESS), 0);
  EXPECT_EQ(error_to_posix(FILE_NOT_FOUND), -2);
  EXPECT_EQ(error_to_posix(PATH_NOT_FOUND), -5);
  EXPECT_EQ(error_to_posix(FAILED), -5);
  EXPECT_EQ(error_to_posix(ACCESS_DENIED), -5);
  EXPECT_EQ(error_to_posix(static_cast<AERROR>(-1)), -5);
}

}  // namespace
}  // namespace ftp_plugin
