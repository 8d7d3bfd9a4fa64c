// The scan for a VxWorks header as FTP_BOUNDED_HEADER_SCAN makes it. This program compiles the scan with the
// definition, whatever the project is configured with.
#include <gtest/gtest.h>

#include "listing/vxworks_line.h"

namespace ftp_plugin {
namespace {

TEST(BoundedScan, AnswersFalseWhereAnotherWordIsDue) {
  for (const char* line : {"total 42", "size total", "Size date time name", "date time name",
                           "size\tdate time name", "size time date name", "size date time 5"}) {
    EXPECT_FALSE(is_vxworks_server(line)) << line;
  }
}

TEST(BoundedScan, AnswersLinesThatFitAsEver) {
  EXPECT_TRUE(is_vxworks_server("  size  date   time   name"));
  EXPECT_FALSE(is_vxworks_server("size data"));
}

}  // namespace
}  // namespace ftp_plugin
