// One connection by itself, against the scripted server.
#pragma once

#include <gtest/gtest.h>

#include <utility>

#include "tests/fakes/ftp_server.h"
#include "transport/command_list.h"
#include "transport/pool/connection.h"
#include "transport/pool/transfer.h"

namespace ftp_plugin {

class Connection : public testing::Test {
 protected:
  /// Settings of the scripted server.
  settings_map settings(settings_map more = {}) {
    settings_map result = std::move(more);
    result.try_emplace("url", server.url());
    result.try_emplace("type", "ftp");
    return result;
  }
  /// What this connection makes the server see, a body-less request with one command.
  static CURLcode send(connection& con, const char* command) {
    command_list commands;
    add(commands, command);
    return transfer{con}.set(CURLOPT_QUOTE, commands.get(), nullptr).set(CURLOPT_NOBODY, 1L, 0L).run_once();
  }
  fakes::FtpServer server;
};

}  // namespace ftp_plugin
