#include "host/local/temporary_name.h"

#include <gtest/gtest.h>

#include <string>

namespace ftp_host {
namespace {

TEST(TemporaryName, IsRecognisedForItsFileAndForNoOther) {
  const std::string name = temporary_name("report.pdf", "ftp://h/report.pdf 12 34");
  EXPECT_TRUE(is_temporary_name(name));
  EXPECT_TRUE(is_temporary_name_of(name, "report.pdf"));
  EXPECT_FALSE(is_temporary_name_of(name, "other.pdf"));
}

TEST(TemporaryName, ChangesWithTheContentOnly) {
  EXPECT_EQ(temporary_name("a", "v1"), temporary_name("a", "v1"));
  EXPECT_NE(temporary_name("a", "v1"), temporary_name("a", "v2"));
  EXPECT_NE(temporary_name("a", "v1"), temporary_name("b", "v1"));
}

TEST(TemporaryName, IsShortAndVisibleInListings) {
  const std::string name = temporary_name(std::string(255, 'x'), "v");
  EXPECT_LE(name.size(), 60u);
  EXPECT_NE(name.front(), '.');
}

TEST(TemporaryName, IsNotMixedUpWithTheUsersFiles) {
  for (const char* name :
       {"ftp-host-.part", "ftp-host-notes.part", "ftp-host-0123456789abcdef-0123456789abcdeg.part",
        "xftp-host-0123456789abcdef-0123456789abcdef.part",
        "ftp-host-0123456789abcdef-0123456789abcdef.part.bak", ""}) {
    EXPECT_FALSE(is_temporary_name(name)) << name;
  }
}

}  // namespace
}  // namespace ftp_host
