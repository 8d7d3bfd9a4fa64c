#include "tests/live/conformance.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "tests/fakes/bytes.h"
#include "tests/live/session.h"
#include "tests/servers/disk.h"

namespace live {
namespace {

namespace fs = std::filesystem;
using servers::bytes_of;

constexpr const char* kYes = "yes";
constexpr int kLoginLimitSeconds = 60;
constexpr std::size_t kFileSize = 200'000;
constexpr std::time_t kFileTime = 1'700'000'000;       // 2023-11-14T22:13:20Z
constexpr std::chrono::milliseconds kIdlePause{1500};  // longer than libcurl's trust in an idle connection

/// Names that have hurt somebody.
const std::vector<std::string> kAwkward = {
    "a b",       "semi;colon",  "umläut", "arrow -> x", "it's \"quoted\"", "[brackets]",  "100%",  "emoji 😀",
    "#hash?&=+", "back\\slash", "~tilde", "-dash",      " lead",           "two  blanks", "tail ", "*star",
};

void add_file(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  servers::write_file(path, bytes);
}

/// What the script works on, laid out before the child starts.
void lay_out(const Target& target) {
  const fs::path& folder = target.folder;
  for (const auto& entry : fs::directory_iterator{folder}) fs::remove_all(entry);
  add_file(folder / "file.bin", fakes::some_bytes(kFileSize));
  servers::set_time(folder / "file.bin", kFileTime);
  for (const std::string& name : kAwkward) add_file(folder / "top" / "nested dir" / name, name);
  fs::create_directories(folder / "changes");
  target.hand_over();
}

/// The plug-in at work on one target.
class Script {
 public:
  explicit Script(const Target& target) : target_{target} {}

  std::string log_in() {
    if (!target_.options.empty()) {
      (void)protocol_->SetOpt("option_fields", fakes::option_document(target_.options).c_str());
    }
    return code(protocol_->Connect(
        nullptr, fakes::login_document(target_.url, target_.user, target_.password, target_.login).c_str()));
  }

  std::string list_root() { return compare_names("/", {"changes", "file.bin", "top"}); }
  std::string list_nested() { return compare_names("/top/nested dir", kAwkward); }

  std::string file_info() {
    _FS_FILE_V2 file;
    if (const AERROR result = protocol_->GetFileInfo("/file.bin", &file, nullptr); result != SUCCESS) {
      return code(result);
    }
    if (file.size != static_cast<std::int64_t>(kFileSize)) return "size " + std::to_string(file.size);
    return file.modify_time == time_text(kFileTime) ? kYes : "size; time " + file.modify_time;
  }

  std::string folder_info() {
    _FS_FILE_V2 file;
    file.attr = FS_ATTR_DIRECTORY;
    const AERROR result = protocol_->GetFileInfo("/top/nested dir", &file, nullptr);
    if (result != SUCCESS) return code(result);
    return file.attr == FS_ATTR_DIRECTORY && !file.modify_time.empty() ? kYes : "no record";
  }

  std::string read_whole() { return read("/file.bin", 0, kFileSize, kFileSize); }

  std::string read_ranges() {
    constexpr auto size = static_cast<long long>(kFileSize);
    std::string outcome = read("/file.bin", 0, 1, 1);
    if (outcome == kYes) outcome = read("/file.bin", 70'000, 70'001, 70'001);
    if (outcome == kYes) outcome = read("/file.bin", size - 5, 5, 5);
    // Beyond the end: whole blocks only, the tail below 64 KiB is dropped.
    if (outcome == kYes) outcome = read("/file.bin", size - 70'000, 100'000, 65'536);
    return outcome;
  }

  std::string upload() { return upload("changes", "new ü.bin", fakes::some_bytes(150'000, 2)); }
  std::string overwrite() { return upload("changes", "new ü.bin", fakes::some_bytes(70'000, 3)); }

  std::string rename() {
    return moved("/changes/new ü.bin", "/changes", "renamed.bin", "changes/new ü.bin", "changes/renamed.bin");
  }

  std::string create() {
    _FS_FILE_V2 record;
    record.name = "made here";
    const AERROR result = protocol_->CreateDirectory("/changes", &record, nullptr);
    if (!fs::is_directory(target_.folder / "changes/made here"))
      return result == SUCCESS ? "lost" : code(result);
    return code(result);
  }

  std::string move() {
    return moved("/changes/renamed.bin", "/changes/made here", "moved.bin", "changes/renamed.bin",
                 "changes/made here/moved.bin");
  }

  std::string set_time() {
    _FS_FILE_V2 record;
    const std::string wanted = "2021-06-30T12:34:56.000Z";
    const AERROR result =
        protocol_->SetFileTime("/changes/made here/moved.bin", "", wanted, wanted, &record, nullptr);
    if (result == NOT_SUPPORTED) return "no MFMT";
    if (result != SUCCESS) return code(result);
    struct stat status {};
    if (stat((target_.folder / "changes/made here/moved.bin").c_str(), &status) != 0) return "file gone";
    return time_text(status.st_mtime) == wanted ? kYes : "disk says " + time_text(status.st_mtime);
  }

  std::string remove() {
    if (!fs::exists(target_.folder / "changes/made here/moved.bin")) return "nothing to delete";
    AERROR result = protocol_->Delete("/changes/made here/moved.bin", nullptr);
    if (result != SUCCESS) return code(result);
    result = protocol_->DeleteDirectory("/changes/made here", nullptr);
    if (result != SUCCESS) return code(result);
    return fs::is_empty(target_.folder / "changes") ? kYes : "still there";
  }

  std::string after_a_pause() {
    std::this_thread::sleep_for(kIdlePause);
    for (const auto step : {&Script::list_root, &Script::file_info, &Script::read_whole}) {
      if (const std::string outcome = (this->*step)(); outcome != kYes) return outcome;
    }
    std::string outcome = upload("changes", "after.bin", fakes::some_bytes(1000, 4));
    if (outcome == kYes) outcome = code(protocol_->Delete("/changes/after.bin", nullptr));
    return outcome;
  }

 private:
  static std::string code(AERROR result) {
    return result == SUCCESS ? kYes : fakes::plugin().GetAERRORA(result);
  }

  std::string compare_names(const std::string& path, std::vector<std::string> wanted) {
    fakes::FileList list;
    if (const AERROR result = protocol_->GetFileList(path.c_str(), &list, nullptr); result != SUCCESS) {
      return code(result);
    }
    std::vector<std::string> names = list.names();
    std::erase_if(names, [](const std::string& name) { return name.empty() || name == "." || name == ".."; });
    std::sort(names.begin(), names.end());
    std::sort(wanted.begin(), wanted.end());
    std::vector<std::string> missing;
    std::set_difference(wanted.begin(), wanted.end(), names.begin(), names.end(),
                        std::back_inserter(missing));
    if (missing.empty()) return names.size() == wanted.size() ? kYes : "more than there is";
    if (missing.size() == wanted.size()) return "other names";
    std::string text = "not";
    for (const std::string& name : missing) text += " `" + name + "`";
    return text;
  }

  std::string read(const std::string& path, long long offset, long long length, std::size_t wanted) {
    fakes::FetchSink sink;
    const AERROR result = protocol_->Read(path.c_str(), offset, length, fakes::make_handle(), &sink, nullptr);
    if (result != SUCCESS) return code(result);
    const std::string whole = fakes::some_bytes(kFileSize);
    const bool same = sink.bytes() == whole.substr(static_cast<std::size_t>(offset), wanted);
    return same ? kYes : "other bytes, " + std::to_string(sink.bytes().size());
  }

  std::string upload(const std::string& folder, const std::string& name, const std::string& bytes) {
    fakes::CacheSource source{bytes};
    _FS_FILE_V2 record;
    record.name = name;
    record.size = static_cast<std::int64_t>(bytes.size());
    const AERROR result = protocol_->Upload(("/" + folder).c_str(), fakes::make_handle(), &source, &record,
                                            UPLOAD_FLAG_NONE, nullptr);
    if (result != SUCCESS) return code(result);
    if (bytes_of(target_.folder / folder / name) != bytes) return "other bytes on disk";
    return record.size == static_cast<std::int64_t>(bytes.size()) ? kYes : "stored; size unknown";
  }

  std::string moved(const char* from, const char* target, const char* name, const char* old_path,
                    const char* new_path) {
    const std::string bytes = bytes_of(target_.folder / old_path);
    _FS_FILE_V2 record;
    record.name = name;
    record.attr = FS_ATTR_FILE;
    const AERROR result = protocol_->Move(from, target, &record, nullptr);
    if (result != SUCCESS) return code(result);
    if (fs::exists(target_.folder / old_path)) return "still there";
    if (!fs::exists(target_.folder / new_path)) return "lost";
    return bytes_of(target_.folder / new_path) == bytes ? kYes : "other bytes on disk";
  }

  const Target& target_;
  fakes::ScopedProtocol protocol_;
};

/// A home directory with one SSH key, for the length of a scope; none when `key` is empty.
class HomeWithKey {
 public:
  explicit HomeWithKey(const fs::path& key) {
    if (key.empty()) return;
    std::string name = fs::temp_directory_path() / "home_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error{"mkdtemp " + name};
    folder_ = name;
    fs::create_directory(folder_ / ".ssh");
    fs::copy_file(key, folder_ / ".ssh/id_rsa");  // the name that libcurl looks for, whatever the kind of key
  }
  HomeWithKey(const HomeWithKey&) = delete;
  HomeWithKey& operator=(const HomeWithKey&) = delete;
  ~HomeWithKey() {
    std::error_code ignored;
    if (!folder_.empty()) fs::remove_all(folder_, ignored);
  }
  /// Makes it the home of this process.
  void move_in() const {
    if (!folder_.empty()) setenv("HOME", folder_.c_str(), 1);
  }

 private:
  fs::path folder_;
};

struct Step {
  const char* name;
  std::string (Script::*run)();
};

constexpr Step kSteps[] = {
    {"log in", &Script::log_in},
    {"list", &Script::list_root},
    {"awkward names", &Script::list_nested},
    {"file info", &Script::file_info},
    {"folder info", &Script::folder_info},
    {"read", &Script::read_whole},
    {"ranges", &Script::read_ranges},
    {"upload", &Script::upload},
    {"overwrite", &Script::overwrite},
    {"rename", &Script::rename},
    {"create", &Script::create},
    {"move", &Script::move},
    {"set time", &Script::set_time},
    {"delete", &Script::remove},
    {"after a pause", &Script::after_a_pause},
};

/// The child: one line for each step.
[[noreturn]] void play(const Target& target, int out) {
  Script script{target};
  for (const Step& step : kSteps) {
    std::string outcome;
    try {
      outcome = (script.*step.run)();
    } catch (const std::exception& error) {
      outcome = error.what();
    }
    outcome += '\n';
    if (write(out, outcome.data(), outcome.size()) != static_cast<ssize_t>(outcome.size())) _exit(1);
    if (step.run == &Script::log_in && outcome != std::string{kYes} + "\n") break;
  }
  _exit(0);
}

/// One line from `in`, or nothing when the writer is gone or `deadline` has passed; `late` tells which.
std::optional<std::string> read_line(int in, std::chrono::steady_clock::time_point deadline, bool& late) {
  std::string line;
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd watched{in, POLLIN, 0};
    late = left.count() <= 0 || poll(&watched, 1, static_cast<int>(left.count())) == 0;
    if (late) return {};
    char next = 0;
    if (::read(in, &next, 1) != 1) return {};
    if (next == '\n') return line;
    line += next;
  }
}

}  // namespace

std::vector<std::string> step_names() {
  std::vector<std::string> names;
  for (const Step& step : kSteps) names.emplace_back(step.name);
  return names;
}

std::vector<std::string> run_script(const Target& target, int limit_seconds) {
  lay_out(target);
  const HomeWithKey home{target.own_key};
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error{"pipe2"};
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error{"fork"};
  if (child == 0) {
    close(ends[0]);
    home.move_in();
    play(target, ends[1]);
  }
  close(ends[1]);
  std::vector<std::string> outcomes;
  for (;;) {
    bool late = false;
    const int limit = outcomes.empty() ? kLoginLimitSeconds : limit_seconds;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{limit};
    const auto outcome = read_line(ends[0], deadline, late);
    if (outcome) {
      outcomes.push_back(*outcome);
      continue;
    }
    if (late) outcomes.emplace_back("hangs");
    break;
  }
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  close(ends[0]);
  if (WIFSIGNALED(status) && WTERMSIG(status) != SIGKILL) outcomes.emplace_back("crashed");
  outcomes.resize(std::size(kSteps), "-");
  return outcomes;
}

}  // namespace live
