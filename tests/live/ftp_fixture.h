// What the tests of FTP operations on real servers start from: one server of the kind that the test is run
// for, and a process that keeps to UTC.
#pragma once

#include <gtest/gtest.h>

#include "tests/fakes/time_zone.h"
#include "tests/servers/ftp_servers.h"

namespace live {

class OnFtpServer : public testing::TestWithParam<servers::Server> {
 protected:
  // LIST carries local times of nobody knows where; both sides keep to UTC here.
  const fakes::ScopedTimeZone utc_{"UTC"};
  servers::Daemon server_ = GetParam().start();
};

}  // namespace live
