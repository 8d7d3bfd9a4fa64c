// The operations that are made of others call them through the table: whoever replaces one changes all that
// are made of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/protocol.h"
#include "tests/fakes/ftp_server.h"
#include "tests/fakes/host.h"

namespace ftp_plugin {
namespace {

using testing::ElementsAre;

/// Answers what no operation would answer by itself.
class Replaced final : public Protocol {
 public:
  Replaced() : Protocol{"ftp", nullptr} {}

  AERROR Move(const char* src, const char* target, _FS_FILE_V2* file, char** message) override {
    calls.push_back(std::string{"Move "} + src + " " + target + " " + std::to_string(file->attr));
    return own_move ? SHARING_VIOLATION : Protocol::Move(src, target, file, message);
  }
  AERROR GetFileInfo(const char* path, _FS_FILE_V2* file, char** message) override {
    calls.push_back(std::string{"GetFileInfo "} + path + " " + std::to_string(file->attr) +
                    (message == nullptr ? "" : " with a message"));
    return PENDING;
  }

  bool own_move = true;
  std::vector<std::string> calls;
};

class Dispatch : public testing::Test {
 protected:
  Dispatch() {
    server.add_file("/docs/a.txt", "hello");
    file.name = "b";
  }
  void connected() {
    const std::string login =
        R"([{"data": [{"url": {"value": ")" + server.url() + R"("}}, {"anonymous": {"value": true}}]}])";
    ASSERT_EQ(protocol.Connect(nullptr, login.c_str()), SUCCESS);
  }

  fakes::FtpServer server;
  Replaced protocol;
  _FS_FILE_V2 file;
};

TEST_F(Dispatch, RenameAndMoveDirCallMove) {
  file.attr = FS_ATTR_FILE;
  EXPECT_EQ(protocol.Rename("/a", "/t", &file, nullptr), SHARING_VIOLATION);
  EXPECT_EQ(protocol.MoveDir("/a", "/t", &file, nullptr), SHARING_VIOLATION);
  EXPECT_THAT(protocol.calls, ElementsAre("Move /a /t 1", "Move /a /t 2"));
}

TEST_F(Dispatch, WhatWasMovedCreatedOrStoredIsReadAgainByGetFileInfo) {
  connected();
  protocol.own_move = false;
  char text = 'x';
  char* message = &text;
  EXPECT_EQ(protocol.Rename("/docs/a.txt", "/docs", &file, &message), PENDING);
  EXPECT_EQ(protocol.MoveDir("/docs/b", "", &file, &message), PENDING);
  EXPECT_EQ(protocol.CreateDirectory("/docs", &file, &message), PENDING);
  fakes::CacheSource cache{""};
  file.name = "c";
  EXPECT_EQ(protocol.Upload("/docs", fakes::make_handle(), &cache, &file, UPLOAD_FLAG_NONE, &message),
            PENDING);
  EXPECT_THAT(protocol.calls, ElementsAre("Move /docs/a.txt /docs 0", "GetFileInfo /docs/b 0",  //
                                          "Move /docs/b  2", "GetFileInfo /b 2",                //
                                          "GetFileInfo /docs/b 2", "GetFileInfo /docs/c 1"));
}

}  // namespace
}  // namespace ftp_plugin
