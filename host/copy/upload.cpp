#include "host/copy/upload.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <random>

#include "host/failure.h"
#include "host/local/temporary_name.h"
#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

/// A new name for every upload. Under the same name, a server could still be writing what a killed run sent.
std::string fresh_temporary_name(const std::string& name) {
  std::random_device random;
  return temporary_name(name, fmt::format("{} {} {}", getpid(), random(), random()));
}

/// Reads a local file and notices when it changes.
class Source {
 public:
  Source(const LocalDirectory& from, const std::string& name)
      : file_{from.open_for_reading(name)}, path_{from.path_of(name)}, begin_{status()} {
    if (!S_ISREG(begin_.st_mode)) throw Failure{ExitCode::local_file, path_ + ": not a regular file"};
  }

  [[nodiscard]] std::int64_t size() const { return begin_.st_size; }
  [[nodiscard]] std::time_t time() const { return begin_.st_mtim.tv_sec; }

  std::int64_t read(std::int64_t offset, char* buffer, std::size_t length) {
    for (;;) {
      const ssize_t got = pread(file_.get(), buffer, length, offset);
      if (got >= 0) return got;
      if (errno == EINTR) continue;
      error_ = errno;
      return -1;
    }
  }

  void check() const {
    if (error_ != 0) throw local_failure(path_, error_);
    const struct stat now = status();
    if (now.st_size != begin_.st_size || now.st_mtim.tv_sec != begin_.st_mtim.tv_sec ||
        now.st_mtim.tv_nsec != begin_.st_mtim.tv_nsec) {
      throw Failure{ExitCode::local_file, path_ + ": changed while it was sent"};
    }
  }

 private:
  [[nodiscard]] struct stat status() const {
    struct stat now {};
    if (fstat(file_.get(), &now) != 0) throw local_failure(path_, errno);
    return now;
  }

  Descriptor file_;
  std::string path_;
  struct stat begin_;
  int error_ = 0;
};

/// Removes the temporary file again when the upload fails.
class RemoteTemporary {
 public:
  RemoteTemporary(Session& session, std::string id) : session_{session}, id_{std::move(id)} {}
  ~RemoteTemporary() {
    if (!armed) return;
    try {
      (void)session_.remove_file(id_);
    } catch (...) {
      // Cancelled: the next run removes it.
    }
  }
  RemoteTemporary(const RemoteTemporary&) = delete;
  RemoteTemporary& operator=(const RemoteTemporary&) = delete;
  [[nodiscard]] const std::string& id() const noexcept { return id_; }
  bool armed = true;

 private:
  Session& session_;
  std::string id_;
};

/// Throws a Failure unless the whole file arrived: the size in the server's answer is right or, where there
/// is no such answer, the size in the listing.
void check_stored(Session& session, const std::string& directory, const std::string& name, std::int64_t size,
                  const Outcome& outcome, const Entry& stored) {
  if (outcome.code == SUCCESS && stored.size == size) return;
  const std::string id = join_path(directory, name);
  if (outcome.code != FAILED) session.require(outcome, id);
  Listing listing;
  const Entry* const found =
      session.list(directory, listing).code == SUCCESS ? find_entry(listing, name) : nullptr;
  if (found != nullptr && found->size == size) return;
  session.require(outcome, id);
  throw session.failure(
      fmt::format("{}: the server holds {} of {} bytes", session.url_of(id), stored.size, size),
      FILE_WRITE_FAILED);
}

/// Whether `entry` is the file that was sent, as far as its size and its time tell.
bool is_sent_file(Session& session, const Entry& entry, const Source& source) {
  Entry exact;
  if (entry.size != source.size()) return false;
  if (!session.sets_times()) return true;
  return session.file_info(entry.id, exact).code == SUCCESS && exact.time == source.time();
}

/// Gives the complete temporary file its name.
void settle_name(Session& session, RemoteTemporary& temporary, const std::string& directory,
                 const std::string& name, const Source& source) {
  const Outcome first = session.move(temporary.id(), directory, name, false);
  if (first.code == SUCCESS) return;
  // Either the server does not rename over a file, or only the look-up behind the rename failed.
  const Failure refused = session.failure(session.url_of(join_path(directory, name)), first);
  Listing listing;
  if (session.list(directory, listing).code != SUCCESS) throw Failure{refused};
  const Entry* const there = find_entry(listing, leaf_name(temporary.id()));
  const Entry* const old = find_entry(listing, name);
  if (there == nullptr && old != nullptr && is_sent_file(session, *old, source)) return;
  if (there == nullptr || old == nullptr || old->directory) throw Failure{refused};
  if (session.remove_file(old->id).code != SUCCESS) throw Failure{refused};
  temporary.armed = false;  // from here on it is the only copy on the server
  session.require(session.move(temporary.id(), directory, name, false), join_path(directory, name));
}

}  // namespace

std::int64_t upload_file(Session& session, Progress& progress, const LocalDirectory& from,
                         const std::string& name, const std::string& directory,
                         const std::string& remote_name) {
  Source source{from, name};
  // Times are compared to the second, and on a server that takes none its copy must be newer.
  (void)session.operations().wait_beyond(source.time());
  const std::string temporary_leaf = fresh_temporary_name(remote_name);
  RemoteTemporary temporary{session, join_path(directory, temporary_leaf)};
  Progress::File shown{progress, remote_name, source.size()};
  Entry stored;
  const Outcome outcome = session.upload(
      directory, temporary_leaf, source.size(),
      [&](std::int64_t offset, char* buffer, std::size_t length) {
        const std::int64_t got = source.read(offset, buffer, length);
        if (got > 0) shown.moved(got);
        return got;
      },
      stored);
  source.check();
  check_stored(session, directory, temporary_leaf, source.size(), outcome, stored);
  Outcome timed{SUCCESS, {}};
  if (session.sets_times()) timed = session.set_time(temporary.id(), source.time());
  settle_name(session, temporary, directory, remote_name, source);
  temporary.armed = false;
  // The content is worth more than its time.
  if (timed.code != SUCCESS) {
    throw session.failure(
        session.url_of(join_path(directory, remote_name)) + ": stored, but its time cannot be set", timed);
  }
  progress.file_done();
  return source.size();
}

void upload_empty(Session& session, const std::string& directory, const std::string& name) {
  Entry stored;
  const Outcome outcome = session.upload(
      directory, name, 0, [](std::int64_t, char*, std::size_t) { return std::int64_t{0}; }, stored);
  check_stored(session, directory, name, 0, outcome, stored);
}

}  // namespace ftp_host
