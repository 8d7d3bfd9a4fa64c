#include "host/remote/host_objects.h"

namespace ftp_host {

int Manager::QueryValue(const char*, char* buffer, int* size) {
  if (buffer != nullptr && size != nullptr && *size > 0) buffer[0] = '\0';
  return 0;
}

int Manager::PostValue(const char*, const char*, const char*) { return 0; }

int EntryCollector::AddFile(_FS_FILE_V2* file) {
  life_.beat();
  try {
    records_.push_back(*file);
  } catch (...) {
    return 1;
  }
  return 0;
}

int FetchSink::Deliver(long long offset, const char* data, long long length, long long) {
  life_.beat();
  if (refused_ || length <= 0) return 0;
  try {
    if (writer_(offset, data, static_cast<std::size_t>(length))) {
      received_ += length;
      return 0;
    }
  } catch (...) {
    // Told like any other refusal: the plug-in expects no exception.
  }
  refused_ = true;
  stop_transfer(*handle_);
  return 1;
}

int UploadSource::ReadBlock(CACHE_READ_REQUEST* request) {
  life_.beat();
  request->done = 0;
  std::int64_t got = -1;
  try {
    got = reader_(request->offset, static_cast<char*>(request->buffer),
                  static_cast<std::size_t>(request->length));
  } catch (...) {
    // As a failed read, below.
  }
  if (got < 0) {
    stop_transfer(*request->handle);  // an early end alone would be stored as a shorter file
    return 1;
  }
  request->done = static_cast<std::uint64_t>(got);
  sent_ += got;
  return 0;
}

}  // namespace ftp_host
