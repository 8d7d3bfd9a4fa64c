// What the tests of the SFTP channel share: one SSH server for all of a suite, and a listing as the host gets
// it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "boundary/abi/file_record.h"
#include "common/time_text.h"
#include "listing/basic_line.h"
#include "listing/reply_lines.h"
#include "listing/sftp_listing.h"
#include "tests/fakes/relay.h"
#include "tests/servers/disk.h"
#include "tests/servers/sshd.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {

/// A login with the user and password of the server.
inline server_settings login_settings(const servers::Sshd& server) {
  return read_settings({{key::type, "sftp"},
                        {key::url, server.url()},
                        {key::user, server.user()},
                        {key::pwd, server.password()}});
}

/// The same settings, by way of the relay.
inline server_settings through(server_settings settings, const fakes::Relay& relay) {
  settings.url = "sftp://127.0.0.1:" + std::to_string(relay.port());
  return settings;
}

/// The listing of `path` as the host gets it: names to records, by the parser and with links followed.
inline std::map<std::string, _FS_FILE_V2> listed(sftp_channel& channel, const std::string& path) {
  sftp_listing listing;
  EXPECT_EQ(channel.list(path, listing), CURLE_OK);
  const std::function<void(const std::string&, _FS_FILE_V2&)> follow = [&](const std::string& link,
                                                                           _FS_FILE_V2& target) {
    sftp_attributes attributes{};
    if (channel.stat(link, attributes) != CURLE_OK) return;
    target.attr = (attributes.permissions & 0x4000) != 0 ? 2 : 1;
    if (target.attr == 1) target.size = static_cast<long long>(attributes.filesize);
  };
  std::map<std::string, _FS_FILE_V2> records;
  std::size_t lines = 0;
  reply_lines each{listing.text()};
  for (std::string_view line; each.next(line); ++lines) {
    _FS_FILE_V2 record{};
    basic_line_context context;
    context.path = path.c_str();
    context.is_sftp = true;
    context.follow_link = &follow;
    EXPECT_TRUE(parse_basic_line(line, context, record)) << line;
    records[record.name] = record;
  }
  EXPECT_EQ(records.size(), lines) << "names came out twice";
  return records;
}

/// Creates a file with this time.
inline void write_file(const std::filesystem::path& file, const std::string& bytes, std::time_t mtime) {
  servers::write_file(file, bytes);
  servers::set_time(file, mtime);
}

inline std::string time_of(std::time_t seconds) { return TimeToRFC3339(seconds); }

/// One server for all tests of the suite; its home is empty at the start of each.
class SftpChannel : public testing::Test {
 protected:
  static servers::Sshd& server() {
    static servers::Sshd running{{.keyboard_interactive = true, .time_zone = "Asia/Kolkata"}};
    return running;
  }

  void SetUp() override {
    for (const auto& entry : std::filesystem::directory_iterator{server().home()})
      std::filesystem::remove_all(entry);
  }
  static std::filesystem::path home() { return server().home(); }
};

}  // namespace ftp_plugin
