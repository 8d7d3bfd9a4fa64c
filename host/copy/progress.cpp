#include "host/copy/progress.h"

namespace ftp_host {

void Progress::begin(std::int64_t bytes, std::size_t files) {
  total_.store(bytes);
  files_total_.store(files);
  active_.store(true);
}

Progress::Snapshot Progress::snapshot() const {
  Snapshot now;
  now.active = active_.load();
  now.done = done_.load();
  now.skipped = skipped_.load();
  now.total = total_.load();
  now.files_done = files_done_.load();
  now.files_total = files_total_.load();
  const std::lock_guard lock{mutex_};
  for (const File* file : files_) now.files.push_back({file->name_, file->size_, file->done_.load()});
  return now;
}

Progress::File::File(Progress& progress, std::string_view name, std::int64_t size)
    : progress_{progress}, name_{name}, size_{size} {
  const std::lock_guard lock{progress_.mutex_};
  progress_.files_.push_back(this);
}

Progress::File::~File() {
  const std::lock_guard lock{progress_.mutex_};
  std::erase(progress_.files_, this);
}

void Progress::File::moved(std::int64_t bytes) {
  done_.fetch_add(bytes);
  progress_.done_.fetch_add(bytes);
}

void Progress::File::skipped(std::int64_t bytes) {
  progress_.skipped_.fetch_add(bytes);
  moved(bytes);
}

}  // namespace ftp_host
