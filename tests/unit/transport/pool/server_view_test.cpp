#include "transport/pool/server_view.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "common/charset.h"

namespace ftp_plugin {
namespace {

class EncodeName : public testing::Test {
 protected:
  std::string encoded(const std::string& name, bool convert = true) {
    return encode_name({.connections = none,
                        .is_sftp = is_sftp,
                        .url = {},
                        .paths = {},
                        .speed_limit = 0,
                        .server_charset = charset,
                        .names_are_utf8 = false,
                        .vxworks_server = vxworks,
                        .file_time_mode = 0},
                       name, convert);
  }
  bool is_sftp = false;
  std::string charset;

 private:
  const std::shared_ptr<pool> none;
  std::atomic<bool> vxworks{false};
};

TEST_F(EncodeName, WritesTheServersCharacterSet) {
  charset = "ISO-8859-1";
  EXPECT_EQ(encoded("caf\xC3\xA9"), "caf\xE9");
}

TEST_F(EncodeName, LeavesTheNameWhereNothingIsToBeConverted) {
  charset = "ISO-8859-1";
  EXPECT_EQ(encoded("caf\xC3\xA9", false), "caf\xC3\xA9");
  is_sftp = true;
  EXPECT_EQ(encoded("caf\xC3\xA9"), "caf\xC3\xA9");
}

TEST_F(EncodeName, LeavesTheNameThatCannotBeConverted) {
  charset = "ISO-8859-1";
  EXPECT_EQ(encoded("\xE2\x82\xAC"), "\xE2\x82\xAC") << "no such character there";
  EXPECT_EQ(encoded("a\xC3"), "a\xC3") << "cut short";
  const std::string too_long(kNameBufferSize, 'a');
  EXPECT_EQ(encoded(too_long), too_long);
  charset = "no such encoding";
  EXPECT_EQ(encoded("caf\xC3\xA9"), "caf\xC3\xA9");
}

TEST_F(EncodeName, ShiftsBackAtTheEndOfTheName) {
  charset = "ISO-2022-JP";
  EXPECT_EQ(encoded("\xE3\x81\x82"), "\x1b$B$\"\x1b(B") << "what follows the name in a command is ASCII";
}

TEST_F(EncodeName, LeavesTheNameThatHasNoRoomToShiftBack) {
  charset = "ISO-2022-JP";
  std::string name;
  for (std::size_t n = 0; n < (kNameBufferSize - 4) / 2; ++n) {
    name += "\xE3\x81\x82";  // two bytes each, and three to shift: the three to shift back do not fit
  }
  EXPECT_EQ(encoded(name), name);
}

}  // namespace
}  // namespace ftp_plugin
