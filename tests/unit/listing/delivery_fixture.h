// What the tests of deliver_listing share: a bound logger, a list, and the context of one listing.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "boundary/host_bindings.h"
#include "listing/delivery.h"
#include "tests/fakes/host.h"
#include "tests/unit/listing/utc.h"

namespace ftp_plugin {

using Texts = std::vector<std::string>;

class Delivery : public testing::Test {
 protected:
  Delivery() { EXPECT_TRUE(bind_logger(&logger_)); }
  ~Delivery() override { unbind_logger(); }

  listing_context context(bool is_mlsd) {
    return {.path = "/dir",
            .is_mlsd = is_mlsd,
            .is_sftp = false,
            .names_are_utf8 = true,
            .server_charset = charset_,
            .vxworks_server = vxworks_,
            .list = &list_,
            .find_name = nullptr,
            .found = nullptr,
            .clock = &clock_};
  }
  /// A machine listing of a server that speaks `charset`.
  listing_context in_charset(const char* charset) {
    charset_ = charset;
    listing_context other = context(true);
    other.names_are_utf8 = false;
    return other;
  }
  Texts identifiers() const {
    Texts all;
    for (const _FS_FILE_V2& file : list_.files()) all.push_back(file.id);
    return all;
  }

  fakes::Logger logger_;
  fakes::FileList list_;
  std::string charset_;
  std::atomic<bool> vxworks_{false};
  const list_clock clock_ = list_clock_at(utc(2024, 6, 15));
};

}  // namespace ftp_plugin
