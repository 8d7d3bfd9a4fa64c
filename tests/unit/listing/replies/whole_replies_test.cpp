// Whole replies, one file per server family, through the pipeline that a listing takes. Beside each
// `NAME.txt` stands `NAME.expected`: one line per delivered record, "ATTRIBUTE SIZE TIME NAME", with "-" for
// an empty time. Names that begin with "mlsd" or "sftp" say how a reply is read; all others are LIST replies.
// The clock stands still at 2024-06-15T12:00:00Z, and no result may depend on the machine's time zone.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "listing/delivery.h"
#include "tests/fakes/time_zone.h"
#include "tests/unit/listing/utc.h"

namespace ftp_plugin {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

std::string content_of(const fs::path& file) {
  std::ifstream in{file, std::ios::binary};
  EXPECT_TRUE(in) << file;
  return {std::istreambuf_iterator<char>{in}, {}};
}

Texts lines_of(const fs::path& file) {
  std::istringstream in{content_of(file)};
  Texts lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

Texts families() {
  Texts names;
  for (const fs::directory_entry& entry : fs::directory_iterator{REPLY_FOLDER}) {
    if (entry.path().extension() == ".txt") names.push_back(entry.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class Printer final : public IFileList {
 public:
  int AddFile(_FS_FILE_V2* file) override {
    EXPECT_EQ(file->create_time, file->modify_time);
    EXPECT_EQ(file->access_time, file->modify_time);
    EXPECT_EQ(file->id, "/listed/" + file->name);
    std::ostringstream line;
    line << file->attr << ' ' << file->size << ' ' << (file->modify_time.empty() ? "-" : file->modify_time)
         << ' ' << file->name;
    lines.push_back(line.str());
    return 0;
  }
  Texts lines;
};

class WholeReply : public testing::TestWithParam<std::tuple<std::string, const char*>> {};

TEST_P(WholeReply, GivesTheExpectedRecords) {
  const auto& [name, zone] = GetParam();
  const fakes::ScopedTimeZone in_zone{zone};
  const std::string charset;
  std::atomic<bool> vxworks{false};
  const list_clock clock = list_clock_at(utc(2024, 6, 15, 12));
  Printer printer;
  const std::string text = content_of(fs::path{REPLY_FOLDER} / (name + ".txt"));
  deliver_listing(text.c_str(), {.path = "/listed",
                                 .is_mlsd = name.rfind("mlsd", 0) == 0,
                                 .is_sftp = name.rfind("sftp", 0) == 0,
                                 .names_are_utf8 = true,
                                 .server_charset = charset,
                                 .vxworks_server = vxworks,
                                 .list = &printer,
                                 .find_name = nullptr,
                                 .found = nullptr,
                                 .follow_link =
                                     [](const std::string& full_path, _FS_FILE_V2& target) {
                                       if (full_path != "/listed/to a directory") return;
                                       target.attr = FS_ATTR_DIRECTORY;
                                       target.size = 4096;
                                     },
                                 .clock = &clock});
  EXPECT_EQ(printer.lines, lines_of(fs::path{REPLY_FOLDER} / (name + ".expected")));
}

INSTANTIATE_TEST_SUITE_P(Families, WholeReply,
                         testing::Combine(testing::ValuesIn(families()),
                                          testing::Values("UTC", "America/New_York", "Asia/Kolkata")),
                         [](const auto& row) {
                           std::string label = std::get<0>(row.param) + "_in_" + std::get<1>(row.param);
                           for (char& c : label) {
                             if (c == '-' || c == '/') c = '_';
                           }
                           return label;
                         });

TEST(WholeReplies, AreThere) { EXPECT_GE(families().size(), 11U); }

}  // namespace
}  // namespace ftp_plugin
