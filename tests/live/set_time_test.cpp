// Times set on real servers come back as they were, wherever on earth the host is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <ostream>
#include <string>
#include <tuple>

#include "tests/fakes/time_zone.h"
#include "tests/live/session.h"
#include "tests/servers/ftp_servers.h"

namespace {

using live::Session;
using servers::Daemon;
using servers::Server;
using servers::Tls;
using testing::Combine;
using testing::Values;

struct Zone {
  const char* label;
  const char* name;
};
void PrintTo(const Zone& zone, std::ostream* out) { *out << zone.label; }

class LiveTimes : public testing::TestWithParam<std::tuple<Server, Zone>> {
 protected:
  const fakes::ScopedTimeZone zone_{std::get<1>(GetParam()).name};
  Daemon server_ = std::get<0>(GetParam()).start();  // in the same time zone
};

TEST_P(LiveTimes, AreReadBackUnchangedInBothHalvesOfTheYear) {
  server_.add_file("folder/a.txt", "hello");
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  const struct {
    const char* text;
    std::time_t seconds;
  } times[] = {{"2024-01-15T12:34:56.000Z", 1'705'322'096},  //
               {"2024-07-15T00:00:00.000Z", 1'721'001'600},  //
               {"2023-12-31T23:59:59.000Z", 1'704'067'199},  // another year, east of Greenwich
               {"2024-03-10T07:30:00.000Z", 1'710'055'800},  // the hour that New York leaves out that night
               {"2024-11-03T05:30:00.000Z", 1'730'611'800},  // the hour that it has twice, the first time
               {"2024-11-03T06:30:00.000Z", 1'730'615'400},  // and the second
               {"2000-02-29T12:00:00.000Z", 951'825'600}};
  for (const auto& time : times) {
    _FS_FILE_V2 file;
    file.name = "a.txt";
    ASSERT_EQ(session->SetFileTime("/folder/a.txt", "", "access", time.text, &file, nullptr), SUCCESS)
        << session.transcript();
    EXPECT_EQ(file.modify_time, time.text);
    EXPECT_EQ(file.access_time, "access");
    struct stat on_disk {};
    ASSERT_EQ(stat((server_.folder() / "folder/a.txt").c_str(), &on_disk), 0);
    EXPECT_EQ(on_disk.st_mtime, time.seconds) << time.text;
    EXPECT_EQ(session.info("/folder/a.txt").modify_time, time.text);
    EXPECT_EQ(session.list("/folder")["a.txt"].modify_time, time.text);
  }
}

INSTANTIATE_TEST_SUITE_P(
    , LiveTimes,
    Combine(Values(Server{"ProFtpd", servers::start_proftpd, {}, true},
                   Server{"ProFtpdExplicitTls", servers::start_proftpd, {.tls = Tls::kExplicit}, true},
                   Server{"PureFtpd", servers::start_pure_ftpd, {}, true},
                   Server{"PureFtpdExplicitTls", servers::start_pure_ftpd, {.tls = Tls::kExplicit}, true}),
            Values(Zone{"Utc", "UTC"}, Zone{"NewYork", "America/New_York"}, Zone{"Kolkata", "Asia/Kolkata"})),
    [](auto& row) {
      return std::string{std::get<0>(row.param).label} + "In" + std::get<1>(row.param).label;
    });

TEST(LiveTime, DoesNotDependOnTheZoneOfTheServer) {
  const fakes::ScopedTimeZone zone{"America/New_York"};
  Daemon server = servers::start_proftpd({.time_zone = "Asia/Kolkata"});
  server.add_file("a.txt", "hello");
  const Session session{server};
  _FS_FILE_V2 file;
  ASSERT_EQ(session->SetFileTime("/a.txt", "", "", "2024-07-15T00:00:00.000Z", &file, nullptr), SUCCESS);
  EXPECT_EQ(session.info("/a.txt").modify_time, "2024-07-15T00:00:00.000Z");
  EXPECT_EQ(session.list("")["a.txt"].modify_time, "2024-07-15T00:00:00.000Z");
}

TEST(LiveTime, OfAMissingFileCannotBeSetAndTheLoginIsKept) {
  Daemon server = servers::start_proftpd({});
  server.add_file("a.txt", "hello");
  const Session session{server};
  _FS_FILE_V2 file;
  EXPECT_EQ(session->SetFileTime("/missing", "", "", "2024-07-15T00:00:00.000Z", &file, nullptr), FAILED);
  EXPECT_EQ(file.modify_time, "");
  EXPECT_EQ(session->SetFileTime("/a.txt", "", "", "2024-07-15T00:00:00.000Z", &file, nullptr), SUCCESS);
  EXPECT_EQ(session.log().lines_with("] USER ").size(), 1u);
}

TEST(LiveTime, CannotBeSetOnAServerThatDoesNotOfferIt) {
  for (Daemon& server :
       std::array{servers::start_vsftpd({}), servers::start_proftpd({.machine_listing = false})}) {
    server.add_file("a.txt", "hello", 1'000'000'000);
    const Session session{server};
    _FS_FILE_V2 file;
    EXPECT_EQ(session->SetFileTime("/a.txt", "", "", "2024-07-15T00:00:00.000Z", &file, nullptr),
              NOT_SUPPORTED)
        << server.name();
    EXPECT_EQ(session.info("/a.txt").modify_time, "2001-09-09T01:46:40.000Z");
  }
}

}  // namespace
