#include "tests/fakes/host.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fakes {

void Logger::Reserved() { std::abort(); }  // the boundary promises that nobody calls it

void Logger::Write(LOGLEVEL level, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(static_cast<std::size_t>(std::max(length, 0)) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  const std::lock_guard guard{lock_};
  lines_.push_back(std::to_string(level) + " " + text);
}

std::vector<std::string> Logger::lines() const {
  const std::lock_guard guard{lock_};
  return lines_;
}

std::vector<std::string> Logger::lines_with(const std::string& part) const {
  std::vector<std::string> found;
  for (std::string& line : lines()) {
    if (line.find(part) != std::string::npos) found.push_back(std::move(line));
  }
  return found;
}

void Logger::clear() {
  const std::lock_guard guard{lock_};
  lines_.clear();
}

int FileList::AddFile(_FS_FILE_V2* file) {
  files_.push_back(*file);
  return 0;
}

std::vector<std::string> FileList::names() const {
  std::vector<std::string> names;
  for (const _FS_FILE_V2& file : files_) names.push_back(file.name);
  return names;
}

int FetchSink::Deliver(long long offset, const char* data, long long length, long long reserved) {
  chunks_.push_back({offset, std::string(data, static_cast<std::size_t>(length)), reserved});
  if (on_chunk_) on_chunk_(chunks_.back());
  return 0;
}

std::vector<std::pair<long long, long long>> FetchSink::shape() const {
  std::vector<std::pair<long long, long long>> shape;
  for (const Chunk& chunk : chunks_) {
    shape.emplace_back(chunk.offset, static_cast<long long>(chunk.bytes.size()));
  }
  return shape;
}

std::string FetchSink::bytes() const {
  std::string bytes;
  for (const Chunk& chunk : chunks_) bytes += chunk.bytes;
  return bytes;
}

int CacheSource::ReadBlock(CACHE_READ_REQUEST* request) {
  const auto offset = static_cast<std::uint64_t>(request->offset);
  const std::uint64_t end = std::min<std::uint64_t>(bytes_.size(), manners_.end_at);
  const std::uint64_t left = offset < end ? end - offset : 0;
  request->done = std::min({request->length, left, manners_.block_limit});
  if (request->done > 0) std::memcpy(request->buffer, bytes_.data() + offset, request->done);
  if (offset >= manners_.cancel_at) stop(*request->handle);
  requests_.push_back({request->offset, request->length, request->done, request->file_size});
  return manners_.result;
}

int Manager::QueryValue(const char* key, char* buffer, int* size) {
  questions_.push_back(std::string{key} + " " + std::to_string(*size));
  std::snprintf(buffer, static_cast<std::size_t>(*size), "%s", value_.c_str());
  *size = static_cast<int>(value_.size());
  return 0;
}

int Manager::PostValue(const char* value, const char* what, const char* same_value) {
  notices_.push_back(std::string{value} + "|" + what + "|" + same_value);
  return 0;
}

std::shared_ptr<_FS_HANDLE> make_handle() { return std::make_shared<_FS_HANDLE>(); }

void stop(_FS_HANDLE& handle) { std::atomic_ref{handle.state}.store(FS_HANDLE_STOP); }

ProgressLog::ProgressLog(_FS_HANDLE& handle) {
  handle.progress = take;
  handle.progress_context = this;
}

int ProgressLog::take(std::int64_t total, std::int64_t now, void* context, double speed) {
  static_cast<ProgressLog*>(context)->calls_.push_back({total, now, speed});
  return 0;
}

}  // namespace fakes
