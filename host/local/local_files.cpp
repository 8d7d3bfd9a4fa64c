#include "host/local/local_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/failure.h"
#include "host/local/temporary_name.h"

namespace ftp_host {
namespace {

LocalEntry entry_of(std::string name, const struct stat& status) {
  LocalEntry entry;
  entry.name = std::move(name);
  entry.kind = S_ISREG(status.st_mode)   ? LocalEntry::Kind::file
               : S_ISDIR(status.st_mode) ? LocalEntry::Kind::directory
               : S_ISLNK(status.st_mode) ? LocalEntry::Kind::link
                                         : LocalEntry::Kind::other;
  entry.size = status.st_size;
  entry.time = status.st_mtim.tv_sec;
  entry.version = static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
  return entry;
}

/// A stream that owns the open directory `file`. None, with errno set, when it cannot be made.
DirectoryStream stream_of(Descriptor file) {
  DirectoryStream stream{fdopendir(file.get())};
  if (stream) (void)file.release();
  return stream;
}

}  // namespace

std::string LocalDirectory::path_of(std::string_view name) const {
  std::string out = path_;
  if (!out.ends_with('/')) out += '/';
  return out.append(name);
}

LocalDirectory LocalDirectory::open(const std::string& path) {
  Descriptor file{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
  if (!file) throw local_failure(path, errno);
  return LocalDirectory{std::move(file), path};
}

LocalDirectory LocalDirectory::enter(const std::string& name, bool create) const {
  if (create && mkdirat(file(), name.c_str(), 0777) != 0 && errno != EEXIST)
    throw local_failure(path_of(name), errno);
  Descriptor opened{openat(file(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
  if (!opened) throw local_failure(path_of(name), errno);
  return LocalDirectory{std::move(opened), path_of(name)};
}

std::optional<LocalEntry> LocalDirectory::find(const std::string& name) const {
  struct stat status {};
  if (fstatat(file(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    throw local_failure(path_of(name), errno);
  }
  return entry_of(name, status);
}

bool LocalDirectory::is_special(const std::string& name) const {
  struct stat status {};
  return fstatat(file(), name.c_str(), &status, 0) == 0 && !S_ISREG(status.st_mode) &&
         !S_ISDIR(status.st_mode);
}

std::vector<LocalEntry> LocalDirectory::list() const {
  // A descriptor of its own: reading moves the position.
  const DirectoryStream directory = stream_of(again().file_);
  if (!directory) throw local_failure(path_, errno);
  std::vector<LocalEntry> entries;
  errno = 0;
  while (const dirent* const item = readdir(directory.get())) {
    const std::string name = item->d_name;
    if (name != "." && name != "..") {
      if (auto entry = find(name)) entries.push_back(std::move(*entry));
    }
    errno = 0;
  }
  if (errno != 0) throw local_failure(path_, errno);
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return entries;
}

Descriptor LocalDirectory::open_for_reading(const std::string& name) const {
  Descriptor opened{openat(file(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
  if (!opened) throw local_failure(path_of(name), errno);
  return opened;
}

Descriptor LocalDirectory::open_for_writing(const std::string& name) const {
  Descriptor opened{openat(file(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666)};
  if (!opened) throw local_failure(path_of(name), errno);
  if (flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
    throw Failure{ExitCode::local_file, path_of(name) + ": another run is writing it"};
  }
  return opened;
}

void LocalDirectory::rename(const std::string& from, const std::string& to) const {
  if (renameat(file(), from.c_str(), file(), to.c_str()) != 0) throw local_failure(path_of(to), errno);
}

void LocalDirectory::remove_file(const std::string& name) const {
  if (unlinkat(file(), name.c_str(), 0) != 0 && errno != ENOENT) throw local_failure(path_of(name), errno);
}

void LocalDirectory::remove_directory(const std::string& name) const {
  if (unlinkat(file(), name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT)
    throw local_failure(path_of(name), errno);
}

void LocalDirectory::remove_temporaries(const std::string& name, const std::string& keep) const {
  for (const LocalEntry& entry : list()) {
    const bool ours = name.empty() ? is_temporary_name(entry.name) : is_temporary_name_of(entry.name, name);
    if (!ours || entry.kind != LocalEntry::Kind::file || entry.name == keep) continue;
    remove_temporary(entry.name);
  }
}

void LocalDirectory::remove_temporary(const std::string& name) const {
  const Descriptor opened{openat(file(), name.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC)};
  if (opened && flock(opened.get(), LOCK_EX | LOCK_NB) == 0) remove_file(name);
}

LocalDirectory LocalDirectory::again() const {
  Descriptor opened{openat(file(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
  if (!opened) throw local_failure(path_, errno);
  return LocalDirectory{std::move(opened), path_};
}

std::optional<LocalEntry> find_local(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return std::nullopt;
    throw local_failure(path, errno);
  }
  return entry_of(split_local_path(path).name, status);
}

SplitPath split_local_path(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

void make_local_directory(const std::string& path) {
  if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) throw local_failure(path, errno);
}

int write_all(int file, std::int64_t offset, const char* data, std::size_t length) {
  while (length > 0) {
    const ssize_t written = pwrite(file, data, length, offset);
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    data += written;
    length -= static_cast<std::size_t>(written);
    offset += written;
  }
  return 0;
}

}  // namespace ftp_host
