// What real servers hold at the edges: other time zones, names in ISO 8859-1, links that lead nowhere or far
// away, a file beyond 4 GiB, and a folder with 100,000 entries.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/fakes/bytes.h"
#include "tests/fakes/latin1_locale.h"
#include "tests/live/session.h"
#include "tests/servers/daemons.h"
#include "tests/servers/sshd.h"
#include "tests/fakes/time_zone.h"

namespace {

namespace fs = std::filesystem;
using fakes::some_bytes;
using ftp_plugin::time_zone;
using live::Session;
using live::time_text;
using servers::Daemon;
using servers::DaemonOptions;
using servers::Tls;
using testing::IsEmpty;

/// A running server, whatever its kind.
struct Place {
  std::shared_ptr<void> owner;
  std::string url;
  std::string user;
  std::string password;
  fs::path folder;                  ///< what the URL names, on the disk
  std::function<void()> hand_over;  ///< gives everything below `folder` to the server's user

  [[nodiscard]] Session log_in() const { return Session{url, user, password}; }
};

/// What of a link the facts of a machine listing tell.
enum class LinkFacts {
  kNone,       ///< there are no such facts: SFTP, or a server that knows LIST only
  kReachable,  ///< that it is a link; those that lead nowhere are left out by the server
  kFollowed,   ///< those of the target; links that lead nowhere are left out by the server
  kAll,        ///< that it is a link, of every link
};

struct Site {
  const char* label;
  bool sftp;
  LinkFacts facts;
  bool lists_own_clock;  ///< LIST shows the wall clock of the server's zone; the others show UTC
  std::function<Place(const std::string& zone)> open;

  /// A path with a bracket is always listed with LIST.
  [[nodiscard]] bool has_facts_of(const std::string& path) const {
    return facts != LinkFacts::kNone && path.find('[') == std::string::npos;
  }
};
void PrintTo(const Site& site, std::ostream* out) { *out << site.label; }

std::function<Place(const std::string&)> daemon(Daemon (*start)(const DaemonOptions&),
                                                DaemonOptions options = {}) {
  return [=](const std::string& zone) {
    DaemonOptions zoned = options;
    zoned.time_zone = zone;
    const auto server = std::make_shared<Daemon>(start(zoned));
    return Place{server,           server->url(),
                 server->user(),   server->password(),
                 server->folder(), [server] { server->hand_over(); }};
  };
}

Place open_ssh(const std::string& zone) {
  const auto server = std::make_shared<servers::Sshd>(servers::SshdOptions{.time_zone = zone});
  return {server,         server->url() + server->home().string(), server->user(), server->password(),
          server->home(), [server] { server->hand_over(); }};
}

std::vector<Site> sites() {
  const DaemonOptions kTls{.tls = Tls::kExplicit};
  using enum LinkFacts;
  return {
      {"ProFtpd", false, kReachable, false, daemon(servers::start_proftpd)},
      {"ProFtpdExplicitTls", false, kReachable, false, daemon(servers::start_proftpd, kTls)},
      {"ProFtpdListOnly", false, kNone, false, daemon(servers::start_proftpd, {.machine_listing = false})},
      {"Vsftpd", false, kNone, false, daemon(servers::start_vsftpd)},
      {"VsftpdExplicitTls", false, kNone, false, daemon(servers::start_vsftpd, kTls)},
      {"PureFtpd", false, kAll, true, daemon(servers::start_pure_ftpd)},
      {"PureFtpdExplicitTls", false, kAll, true, daemon(servers::start_pure_ftpd, kTls)},
      {"Pyftpdlib", false, kFollowed, false, daemon(servers::start_pyftpdlib)},
      {"PyftpdlibExplicitTls", false, kFollowed, false, daemon(servers::start_pyftpdlib, kTls)},
      {"ProFtpdSftp", true, kNone, false, daemon(servers::start_proftpd_sftp)},
      {"OpenSsh", true, kNone, false, open_ssh}};
}

std::vector<Site> one_site_of_each_protocol() {
  std::vector<Site> few = sites();
  std::erase_if(few, [](const Site& site) {
    const std::string label = site.label;
    return label != "ProFtpd" && label != "ProFtpdExplicitTls" && label != "Vsftpd" && label != "OpenSsh";
  });
  return few;
}

const auto label_of = [](const auto& row) { return std::string{row.param.label}; };

/// Creates `path`, its last bytes `tail`, before them a hole up to `size`.
void write_sparse(const fs::path& path, long long size, const std::string& tail) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  ASSERT_GE(file, 0) << path;
  const auto tail_size = static_cast<long long>(tail.size());
  EXPECT_EQ(ftruncate(file, size), 0);
  EXPECT_EQ(pwrite(file, tail.data(), tail.size(), size - tail_size), tail_size);
  close(file);
}

void write_file(const fs::path& path, const std::string& bytes) {
  write_sparse(path, static_cast<long long>(bytes.size()), bytes);
}

void set_time(const fs::path& path, std::time_t seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

// ---- time zones ----

/// The time as LIST shows it on a clock that is `offset` seconds ahead of UTC, to the minute or, when it is
/// old, to the day; what is shown is taken as UTC.
std::string shown_by_list(std::time_t seconds, long offset, bool old) {
  const std::time_t clock = seconds + offset;
  return time_text(clock - clock % (old ? 86'400 : 60));
}

/// Seconds that the zone is ahead of UTC today.
long offset_of(const char* zone) {
  const time_zone clock{zone};
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
    const time_zone clock{zones.host};
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

// ---- names in ISO 8859-1 ----

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

// ---- links ----

/// A file system of its own in a folder, seen by this process and those that it starts from then on. Where
/// this process has no right to mount, the folder stays an ordinary one and the test says so.
class OtherMount {
 public:
  explicit OtherMount(fs::path folder) : folder_{std::move(folder)} {
    fs::create_directory(folder_);
    mounted_ = mount("edges", folder_.c_str(), "tmpfs", 0, "mode=0755") == 0;
    if (!mounted_) std::cout << "no right to mount: " << folder_ << " is an ordinary folder\n";
  }
  OtherMount(const OtherMount&) = delete;
  OtherMount& operator=(const OtherMount&) = delete;
  ~OtherMount() {
    if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
  }

  /// To be called before the server starts: afterwards what is mounted ends with the process.
  static void keep_to_this_process() {
    if (unshare(CLONE_NEWNS) == 0) mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  }

 private:
  fs::path folder_;
  bool mounted_ = false;
};

class Links : public testing::TestWithParam<Site> {};

TEST_P(Links, ThatLeadNowhereRoundOrFarAwayAreAllListed) {
  OtherMount::keep_to_this_process();
  const Place place = GetParam().open("UTC");
  const OtherMount elsewhere{place.folder / "mount"};
  fs::create_directory(place.folder / "mount/far");
  write_file(place.folder / "mount/far/away.txt", "far away");
  for (const char* folder : {"facts", "[list]"}) {
    fs::create_directory(place.folder / folder);
    write_file(place.folder / folder / "file", "0123456789");
    for (const auto& [name, target] : {std::pair{"dangling", "nowhere"},
                                       {"loop", "loop"},
                                       {"ring", "gnir"},
                                       {"gnir", "ring"},
                                       {"to far", "../mount/far"},
                                       {"to file", "file"}}) {
      fs::create_symlink(target, place.folder / folder / name);
    }
  }
  place.hand_over();

  const Session session = place.log_in();
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
  for (const std::string folder : {"/facts", "/[list]"}) {
    SCOPED_TRACE(folder);
    const bool facts = GetParam().has_facts_of(folder);
    const bool broken_are_sent = !facts || GetParam().facts == LinkFacts::kAll;
    auto listed = session.list(folder);
    EXPECT_EQ(listed.size(), broken_are_sent ? 7U : 3U) << session.transcript();
    EXPECT_EQ(listed["file"].attr, FS_ATTR_FILE);
    EXPECT_EQ(listed["file"].size, 10);
    EXPECT_EQ(listed["to far"].attr, FS_ATTR_DIRECTORY);
    // SFTP tells what a link leads to, LIST that it may be entered, facts what the server says of it.
    const bool followed = GetParam().sftp || (facts && GetParam().facts == LinkFacts::kFollowed);
    EXPECT_EQ(listed["to file"].attr, followed ? FS_ATTR_FILE : FS_ATTR_DIRECTORY);
    if (!facts) {
      EXPECT_EQ(listed["to file"].size, 4) << "the link's own";
      EXPECT_EQ(listed["to far"].size, GetParam().sftp ? 0 : 12);
    }

    EXPECT_EQ(session.list(folder + "/to far").count("away.txt"), 1U);
    EXPECT_EQ(session.info(folder + "/to far/away.txt").size, 8);
    EXPECT_EQ(session.read(folder + "/to far/away.txt", 0, 8), "far away");
    EXPECT_EQ(session.info(folder + "/to file").size, 10) << "the target's";
    EXPECT_EQ(session.read(folder + "/to file", 0, 10), "0123456789");

    for (const char* name : {"dangling", "loop", "ring", "gnir"}) {
      SCOPED_TRACE(name);
      if (broken_are_sent) {
        ASSERT_EQ(listed.count(name), 1U) << session.transcript();
        EXPECT_EQ(listed[name].attr, GetParam().sftp ? 0U : FS_ATTR_DIRECTORY);
        EXPECT_EQ(listed[name].size,
                  static_cast<std::int64_t>(
                      fs::read_symlink(place.folder / folder.substr(1) / name).string().size()));
      }
      const std::string path = folder + "/" + name;
      fakes::FileList files;
      EXPECT_EQ(session->GetFileList(path.c_str(), &files, nullptr), FAILED);
      EXPECT_THAT(files.files(), IsEmpty());
      fakes::FetchSink sink;
      EXPECT_EQ(session->Read(path.c_str(), 0, 10, fakes::make_handle(), &sink, nullptr), FILE_READ_FAILED);
      EXPECT_THAT(sink.chunks(), IsEmpty());
      _FS_FILE_V2 file;
      file.attr = FS_ATTR_FILE;
      EXPECT_EQ(session->GetFileInfo(path.c_str(), &file, nullptr), FAILED);
    }
    EXPECT_EQ(session.list(folder).size(), listed.size()) << "no operation is the worse for a failed one";
  }
}

INSTANTIATE_TEST_SUITE_P(, Links, testing::ValuesIn(sites()), label_of);

// ---- sizes ----

class LargeFile : public testing::TestWithParam<Site> {};

TEST_P(LargeFile, OfFourGibAndAByteIsReadAtItsEnd) {
  constexpr long long kSize = (4LL << 30) + 1;
  const Place place = GetParam().open("UTC");
  const std::string tail = some_bytes(200'001);
  write_sparse(place.folder / "large", kSize, tail);
  place.hand_over();
  const Session session = place.log_in();
  ASSERT_EQ(session.result(), SUCCESS) << session.transcript();
  EXPECT_EQ(session.list("/")["large"].size, kSize);
  EXPECT_EQ(session.info("/large").size, kSize);
  // A range of its own for the byte behind 4 GiB, the ones on both sides of it, and the whole tail.
  for (const std::size_t length : {1UL, 2UL, 65'537UL, 200'001UL}) {
    const auto range = static_cast<long long>(length);
    EXPECT_TRUE(session.read("/large", kSize - range, range) == tail.substr(tail.size() - length)) << length;
  }
  // A place that 32 bits would take for the beginning of the tail.
  EXPECT_EQ(session.read("/large", (2LL << 30) - 1, 2), std::string(2, '\0'));
}

INSTANTIATE_TEST_SUITE_P(, LargeFile, testing::ValuesIn(sites()), label_of);

class LargeFolder : public testing::TestWithParam<Site> {};

TEST_P(LargeFolder, OfAHundredThousandEntriesIsListedWhole) {
  constexpr int kCount = 100'000;
  OtherMount::keep_to_this_process();
  const Place place = GetParam().open("UTC");
  const OtherMount in_memory{place.folder / "many"};  // a disk takes most of the test's time
  const int folder = open((place.folder / "many").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(folder, 0);
  const auto name_of = [](int number) { return "entry " + std::to_string(number) + ".txt"; };
  for (int number = 0; number < kCount; ++number) {
    const int file = openat(folder, name_of(number).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0) << number;
    close(file);
  }
  close(folder);

  const Session session = place.log_in();
  ASSERT_EQ(session.result(), SUCCESS);
  const auto listed = session.list("/many");
  EXPECT_EQ(listed.size(), static_cast<std::size_t>(kCount));
  int missing = 0;
  for (int number = 0; number < kCount; ++number) {
    const auto found = listed.find(name_of(number));
    if (found == listed.end() || found->second.attr != FS_ATTR_FILE || found->second.size != 0) ++missing;
  }
  EXPECT_EQ(missing, 0);
}

INSTANTIATE_TEST_SUITE_P(, LargeFolder, testing::ValuesIn(one_site_of_each_protocol()), label_of);

}  // namespace
