// Names in ISO 8859-1 on a real server.
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <string>

#include "tests/fakes/latin1_locale.h"
#include "tests/live/session.h"
#include "tests/servers/daemons.h"

namespace {

namespace fs = std::filesystem;
using live::Session;
using live::time_text;
using servers::Daemon;
using servers::DaemonOptions;

struct NamePair {
  const char* utf8;
  const char* latin1;
};

class NamesInLatin1 : public testing::TestWithParam<DaemonOptions> {
 protected:
  [[nodiscard]] bool on_disk(const std::string& path) const { return fs::exists(server_.folder() / path); }

  const fakes::Latin1Locale locale_;
  Daemon server_ = servers::start_proftpd(GetParam());
};

TEST_P(NamesInLatin1, AreListedInUtf8AndReachedByTheirBytes) {
  const NamePair names[] = {{fakes::kUtf8Name, fakes::kLatin1Name},
                            {"Gr\xC3\xB6\xC3\x9F\x65 \xC2\xA3", "Gr\xF6\xDF\x65 \xA3"},
                            {"\xC3\xBF;\xC2\xA0x", "\xFF;\xA0x"},
                            {"plain", "plain"}};
  std::time_t modified = (std::time(nullptr) / 86'400 - 40) * 86'400;
  std::map<std::string, std::time_t> times;
  const std::string folder = "d\xE9j\xE0";
  for (const NamePair& name : names) {
    times[name.latin1] = modified += 3'660;
    server_.add_file(folder + "/" + name.latin1, name.latin1, modified);
  }
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  auto root = session.list("/");
  ASSERT_EQ(root.count("d\xC3\xA9j\xC3\xA0"), 1U) << session.transcript();
  const std::string id = root["d\xC3\xA9j\xC3\xA0"].id;
  EXPECT_EQ(id, "/" + folder);
  EXPECT_EQ(session.info(id, FS_ATTR_DIRECTORY).name, "d\xC3\xA9j\xC3\xA0");
  auto listed = session.list(id);
  EXPECT_EQ(listed.size(), std::size(names)) << session.transcript();
  for (const NamePair& name : names) {
    ASSERT_EQ(listed.count(name.utf8), 1U) << name.utf8;
    const _FS_FILE_V2& file = listed[name.utf8];
    const std::string bytes = name.latin1;
    EXPECT_EQ(file.id, id + "/" + bytes);
    EXPECT_EQ(file.size, static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(file.modify_time, time_text(times[bytes])) << name.utf8;
    EXPECT_EQ(session.info(file.id).modify_time, file.modify_time) << name.utf8;
    EXPECT_EQ(session.read(file.id, 0, static_cast<long long>(bytes.size())), bytes);
  }
}

TEST_P(NamesInLatin1, AreWrittenInTheServersBytes) {
  server_.add_folder("\xE0");
  const Session session{server_};
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript() << server_.log();
  const std::string parent = "/\xE0";

  _FS_FILE_V2 file;
  file.name = fakes::kUtf8Name;
  file.size = 3;
  fakes::CacheSource cache{"abc"};
  ASSERT_EQ(session->Upload(parent.c_str(), fakes::make_handle(), &cache, &file, UPLOAD_FLAG{}, nullptr),
            SUCCESS)
      << session.transcript();
  const std::string uploaded = parent + "/" + fakes::kLatin1Name;
  EXPECT_EQ(file.id, uploaded);
  EXPECT_EQ(file.name, fakes::kUtf8Name);
  EXPECT_EQ(file.size, 3);
  EXPECT_EQ(fs::file_size(server_.folder() / uploaded.substr(1)), 3U);

  file = {};
  file.name = "na\xC3\xAFve";
  ASSERT_EQ(session->Rename(uploaded.c_str(), parent.c_str(), &file, nullptr), SUCCESS)
      << session.transcript();
  EXPECT_EQ(file.id, parent + "/na\xEFve");
  EXPECT_EQ(file.name, "na\xC3\xAFve");
  EXPECT_EQ(file.size, 3);
  EXPECT_FALSE(on_disk(uploaded.substr(1)));
  EXPECT_TRUE(on_disk("\xE0/na\xEFve"));

  _FS_FILE_V2 folder;
  folder.name = "\xC3\xBC\x62\x65r";
  ASSERT_EQ(session->CreateDirectory(parent.c_str(), &folder, nullptr), SUCCESS) << session.transcript();
  EXPECT_EQ(folder.id, parent + "/\xFC\x62\x65r");
  EXPECT_EQ(folder.name, "\xC3\xBC\x62\x65r");
  EXPECT_EQ(folder.attr, FS_ATTR_DIRECTORY);
  EXPECT_TRUE(fs::is_directory(server_.folder() / "\xE0/\xFC\x62\x65r"));

  const std::string renamed = file.id;
  ASSERT_EQ(session->Move(renamed.c_str(), folder.id.c_str(), &file, nullptr), SUCCESS)
      << session.transcript();
  EXPECT_EQ(file.id, folder.id + "/na\xEFve");
  EXPECT_EQ(session.list(folder.id).count("na\xC3\xAFve"), 1U);

  EXPECT_EQ(session->Delete(file.id.c_str(), nullptr), SUCCESS) << session.transcript();
  EXPECT_EQ(session->DeleteDirectory(folder.id.c_str(), nullptr), SUCCESS) << session.transcript();
  EXPECT_TRUE(fs::is_empty(server_.folder() / "\xE0"));
}

INSTANTIATE_TEST_SUITE_P(, NamesInLatin1,
                         testing::Values(DaemonOptions{.utf8 = false},
                                         DaemonOptions{.machine_listing = false, .utf8 = false}),
                         [](auto& row) { return row.param.machine_listing ? "Facts" : "ListOnly"; });

}  // namespace
