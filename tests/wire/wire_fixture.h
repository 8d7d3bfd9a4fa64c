// What every wire test starts from: a scripted server with a few files, a bound logger and one object.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/fakes/ftp_server.h"
#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"

namespace wire {

class Wire : public testing::Test {
 protected:
  Wire() {
    server.add_file("/docs/a.txt", "hello world");
    server.add_directory("/docs/sub", "19991231235959");
    server.add_file("/docs/my file.txt", "blank");
    server.add_file("/big.bin", fakes::some_bytes(300000));
  }
  ~Wire() override {
    protocol.release();
    EXPECT_TRUE(server.wait_until_idle()) << "a connection outlives the object";
    if (!HasFailure()) return;
    for (const std::string& line : server.dialogue()) std::cerr << line << "\n";
    for (const std::string& line : log.lines()) std::cerr << line << "\n";
  }

  /// Logs in to the server's root, anonymously unless `more` says otherwise.
  AERROR connect(const std::string& path = "", const fakes::FormEntries& more = {}) {
    return connect_with(fakes::login_document(server.url(path), "", "", more));
  }

  /// Logs in with this login document.
  AERROR connect_with(const std::string& document) { return protocol->Connect(nullptr, document.c_str()); }

  /// Logs in and forgets what it took, so that a test sees its own operation only.
  void connected(const std::string& path = "", const fakes::FormEntries& more = {}) {
    ASSERT_EQ(connect(path, more), SUCCESS);
    (void)server.take_dialogue();
    log.clear();
  }

  void set_options(const fakes::FormEntries& entries) {
    EXPECT_EQ(protocol->SetOpt("option_fields", fakes::option_document(entries).c_str()), SUCCESS);
  }

  /// Releases the object; the dialogue is complete then.
  void released() {
    protocol.release();
    ASSERT_TRUE(server.wait_until_idle());
  }

  fakes::FtpServer server;
  fakes::Logger log;
  fakes::ScopedLogger bound{log};
  fakes::ScopedProtocol protocol;
};

}  // namespace wire
