// Times of servers in other time zones than the host.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "tests/fakes/time_zone.h"
#include "tests/live/session.h"
#include "tests/live/sites.h"
#include "tests/servers/disk.h"

namespace {

using fakes::ScopedTimeZone;
using live::label_of;
using live::Place;
using live::Site;
using live::sites;
using servers::set_time;
using servers::write_file;
namespace fs = std::filesystem;
using live::Session;
using live::time_text;

/// The time as LIST shows it on a clock that is `offset` seconds ahead of UTC, to the minute or, when it is
/// old, to the day; what is shown is taken as UTC.
std::string shown_by_list(std::time_t seconds, long offset, bool old) {
  const std::time_t clock = seconds + offset;
  return time_text(clock - clock % (old ? 86'400 : 60));
}

/// Seconds that the zone is ahead of UTC today.
long offset_of(const char* zone) {
  const ScopedTimeZone clock{zone};
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  localtime_r(&now, &parts);
  return parts.tm_gmtoff;
}

struct Zones {
  const char* server;
  const char* host;
};

class TimesAcrossZones : public testing::TestWithParam<Site> {};

TEST_P(TimesAcrossZones, AreThoseOfTheDiskExceptWhereListShowsAClock) {
  const std::time_t now = std::time(nullptr);
  const struct {
    const char* name;
    std::time_t modified;
    bool old;
  } files[] = {{"winter", 1'705'322'096, true},  //
               {"summer", 1'721'001'645, true},
               {"late evening in Greenwich", 1'704'067'199, true},  // next year in Kolkata
               {"this season", (now / 86'400 - 40) * 86'400 + 12 * 3'600 + 34 * 60 + 56, false},
               {"late this season", (now / 86'400 - 40) * 86'400 + 23 * 3'600 + 59 * 60 + 59, false}};
  for (const Zones zones : {Zones{"Asia/Kolkata", "America/New_York"},  //
                            Zones{"America/New_York", "Asia/Kolkata"}}) {
    SCOPED_TRACE(std::string{"server in "} + zones.server + ", host in " + zones.host);
    const Place place = GetParam().open(zones.server);
    for (const char* folder : {"facts", "[list]"}) {
      fs::create_directory(place.folder / folder);
      for (const auto& file : files) {
        write_file(place.folder / folder / file.name, "hello");
        set_time(place.folder / folder / file.name, file.modified);
      }
    }
    place.hand_over();

    // Pure-FTPd shows all times, those of summer in winter too, with the offset of today.
    const long offset = GetParam().lists_own_clock ? offset_of(zones.server) : 0;
    const ScopedTimeZone clock{zones.host};
    const Session session = place.log_in();
    ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
    for (const std::string folder : {"/facts", "/[list]"}) {
      const bool exact = GetParam().sftp || GetParam().has_facts_of(folder);
      auto listed = session.list(folder);
      EXPECT_EQ(listed.size(), std::size(files));
      for (const auto& file : files) {
        const std::string path = folder + "/" + file.name;
        const std::string on_disk = time_text(file.modified);
        EXPECT_EQ(listed[file.name].modify_time,
                  exact ? on_disk : shown_by_list(file.modified, offset, file.old))
            << path;
        EXPECT_EQ(session.info(path).modify_time, on_disk) << path;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, TimesAcrossZones, testing::ValuesIn(sites()), label_of);

}  // namespace
