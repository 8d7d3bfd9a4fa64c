// What the tests of the operations over SFTP share: OpenSSH's server, a bound logger and one object.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <map>
#include <string>

#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"
#include "tests/fakes/relay.h"
#include "tests/servers/disk.h"
#include "tests/servers/sshd.h"

namespace live {

class SftpFiles : public testing::Test {
 protected:
  /// Logs in, the user's home as the root.
  void connect() { connect(server.url()); }
  void connect(const std::string& server_url) {
    const std::string url = server_url + server.home().string();
    ASSERT_EQ(
        protocol->Connect(nullptr, fakes::login_document(url, server.user(), server.password()).c_str()),
        SUCCESS);
    log.clear();
  }
  void connect(const fakes::Relay& relay) { connect("sftp://127.0.0.1:" + std::to_string(relay.port())); }

  void add(const std::string& name, const std::string& bytes, std::time_t mtime) {
    servers::write_file(server.home() / name, bytes);
    servers::set_time(server.home() / name, mtime);
    server.hand_over();
  }

  std::map<std::string, _FS_FILE_V2> list(const char* path) {
    fakes::FileList files;
    EXPECT_EQ(protocol->GetFileList(path, &files, nullptr), SUCCESS);
    std::map<std::string, _FS_FILE_V2> records;
    for (const auto& each : files.files()) records[each.name] = each;
    EXPECT_EQ(records.size(), files.files().size()) << "names came twice";
    return records;
  }

  servers::Sshd server{{.time_zone = "America/New_York"}};
  fakes::Logger log;
  fakes::ScopedLogger bound{log};
  fakes::ScopedProtocol protocol;
  _FS_FILE_V2 file;
};

class DistantSftp : public SftpFiles {
 protected:
  /// Logs in over a line of 20 ms round-trip time.
  void connect_from_far() { connect(relay); }

  fakes::Relay relay{server.host(), server.port(), {.delay = std::chrono::milliseconds{10}}};
};

}  // namespace live
