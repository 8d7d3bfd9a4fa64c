#include "host/copy/download.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/failure.h"
#include "host/local/temporary_name.h"
#include "host/remote/fetch.h"

namespace ftp_host {
namespace {

std::string identity_of(const Session& session, const Entry& entry) {
  return fmt::format("{}{} {} {}", session.url().root(), entry.id, entry.size, entry.time.value_or(-1));
}

/// How much of the partial file can be continued.
std::int64_t usable_part(const Descriptor& file, const Entry& entry, bool resume) {
  struct stat status {};
  if (!resume || !entry.time || entry.size < 0 || fstat(file.get(), &status) != 0) return 0;
  return status.st_size <= entry.size ? status.st_size : 0;
}

/// Removes a temporary file that is still empty when the download fails.
class DropWhenEmpty {
 public:
  DropWhenEmpty(const Descriptor& file, const LocalDirectory& directory, const std::string& name)
      : file_{file}, directory_{directory}, name_{name} {}
  ~DropWhenEmpty() {
    struct stat status {};
    if (armed && fstat(file_.get(), &status) == 0 && status.st_size == 0) {
      (void)unlinkat(directory_.file(), name_.c_str(), 0);
    }
  }
  DropWhenEmpty(const DropWhenEmpty&) = delete;
  DropWhenEmpty& operator=(const DropWhenEmpty&) = delete;
  bool armed = true;

 private:
  const Descriptor& file_;
  const LocalDirectory& directory_;
  const std::string& name_;
};

void settle(const Descriptor& file, const Entry& entry, const std::string& path) {
  // On the disk before it gets its name. Otherwise a file that a power cut damaged would have the right size
  // and time, and no later run would repair it.
  if (fsync(file.get()) != 0) throw local_failure(path, errno);
  if (!entry.time) return;
  const timespec times[2] = {{0, UTIME_OMIT}, {*entry.time, 0}};
  if (futimens(file.get(), times) != 0) throw local_failure(path, errno);
}

}  // namespace

DownloadResult download_file(Session& session, Progress& progress, const Entry& entry,
                             const LocalDirectory& directory, const std::string& name, bool resume) {
  const std::string path = directory.path_of(name);
  if (const auto there = directory.find(name)) {
    if (there->kind == LocalEntry::Kind::directory) throw local_failure(path, EISDIR);
    // Renaming over a device or a pipe would take it away from others. So would
    // renaming over a link to one, such as /dev/stdout.
    if (directory.is_special(name)) throw Failure{ExitCode::local_file, path + ": not a regular file"};
  }
  const std::string temporary = temporary_name(name, identity_of(session, entry));
  const Descriptor file = directory.open_for_writing(temporary);
  DropWhenEmpty empty{file, directory, temporary};
  const std::int64_t offset = usable_part(file, entry, resume);
  if (ftruncate(file.get(), offset) != 0) throw local_failure(path, errno);

  Progress::File shown{progress, name, entry.size};
  shown.skipped(offset);
  int write_error = 0;
  const std::int64_t received =
      fetch(session, entry, offset, -1, [&](std::int64_t at, const char* data, std::size_t length) {
        write_error = write_all(file.get(), at, data, length);
        if (write_error == 0) shown.moved(static_cast<std::int64_t>(length));
        return write_error == 0;
      });
  if (write_error != 0) throw local_failure(path, write_error);
  settle(file, entry, path);
  directory.rename(temporary, name);
  empty.armed = false;
  progress.file_done();
  return DownloadResult{received, offset};
}

}  // namespace ftp_host
