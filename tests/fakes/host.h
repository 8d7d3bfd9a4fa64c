// Host objects that write down what the plug-in does with them.
// The logger may be called from several threads; the others belong to one operation each.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "boundary/abi/file_record.h"
#include "boundary/abi/host_interfaces.h"
#include "boundary/abi/transfer_handle.h"

namespace fakes {

/// Keeps every line as "LEVEL TEXT", for instance "1 [PROTOCOL  ] Read [/a] offset 0, length 5".
class Logger final : public ILog {
 public:
  explicit Logger(bool tracing = false) : tracing_{tracing} {}

  void Reserved() override;
  int IsTracing() override { return tracing_ ? 1 : 0; }
  void Write(LOGLEVEL level, const char* format, va_list arguments) override;

  [[nodiscard]] std::vector<std::string> lines() const;
  /// The lines that hold `part`, in order.
  [[nodiscard]] std::vector<std::string> lines_with(const std::string& part) const;
  /// The lines of operations, without the network's.
  [[nodiscard]] std::vector<std::string> operations() const { return lines_with(" [PROTOCOL  ] "); }
  void clear();

 private:
  const bool tracing_;
  mutable std::mutex lock_;
  std::vector<std::string> lines_;
};

/// Copies every delivered record.
class FileList final : public IFileList {
 public:
  int AddFile(_FS_FILE_V2* file) override;

  [[nodiscard]] const std::vector<_FS_FILE_V2>& files() const { return files_; }
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  std::vector<_FS_FILE_V2> files_;
};

/// Receives a download. `on_chunk`, when given, runs after each chunk was taken.
class FetchSink final : public IFetchCallback {
 public:
  struct Chunk {
    long long offset;
    std::string bytes;
    long long reserved;
  };

  FetchSink() = default;
  explicit FetchSink(std::function<void(const Chunk&)> on_chunk) : on_chunk_{std::move(on_chunk)} {}

  int Deliver(long long offset, const char* data, long long length, long long reserved) override;

  [[nodiscard]] const std::vector<Chunk>& chunks() const { return chunks_; }
  /// Offset and length of each chunk.
  [[nodiscard]] std::vector<std::pair<long long, long long>> shape() const;
  /// The chunks in the order of delivery, as one text.
  [[nodiscard]] std::string bytes() const;

 private:
  std::function<void(const Chunk&)> on_chunk_;
  std::vector<Chunk> chunks_;
};

/// Stops the transfer behind the first `count` bytes of the file, and tells how long they took.
class FirstBytes final : public IFetchCallback {
 public:
  FirstBytes(std::shared_ptr<_FS_HANDLE> handle, long long count)
      : handle_{std::move(handle)}, count_{count} {}
  int Deliver(long long offset, const char*, long long length, long long) override {
    if (offset + length >= count_) handle_->state = FS_HANDLE_STOP;
    took = std::chrono::steady_clock::now() - begin_;
    return 0;
  }
  /// Since this was made: a speed limit counts from the beginning of the request, not from its first byte.
  std::chrono::steady_clock::duration took{};

 private:
  std::shared_ptr<_FS_HANDLE> handle_;
  long long count_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

/// Feeds an upload, and misbehaves as told.
class CacheSource final : public ICacheIO {
 public:
  struct Manners {
    std::uint64_t block_limit = UINT64_MAX;  ///< never gives more than this at once
    std::uint64_t end_at = UINT64_MAX;       ///< has no bytes from this offset on
    std::uint64_t cancel_at = UINT64_MAX;    ///< stops the handle when asked from this offset on
    int result = 0;                          ///< what every call answers
  };
  struct Request {
    std::int64_t offset;
    std::uint64_t length;
    std::uint64_t done;
    std::uint64_t file_size;
  };

  explicit CacheSource(std::string bytes) : CacheSource{std::move(bytes), Manners{}} {}
  CacheSource(std::string bytes, Manners manners) : bytes_{std::move(bytes)}, manners_{manners} {}

  int ReadBlock(CACHE_READ_REQUEST* request) override;

  [[nodiscard]] const std::vector<Request>& requests() const { return requests_; }

 private:
  const std::string bytes_;
  const Manners manners_;
  std::vector<Request> requests_;
};

/// Answers every question with the same value.
class Manager final : public IProtocolManager {
 public:
  explicit Manager(std::string value = "") : value_{std::move(value)} {}

  int QueryValue(const char* key, char* buffer, int* size) override;
  int PostValue(const char* value, const char* what, const char* same_value) override;

  /// "KEY CAPACITY" of each question.
  [[nodiscard]] const std::vector<std::string>& questions() const { return questions_; }
  /// "VALUE|WHAT|VALUE" of each notice.
  [[nodiscard]] const std::vector<std::string>& notices() const { return notices_; }

 private:
  const std::string value_;
  std::vector<std::string> questions_;
  std::vector<std::string> notices_;
};

/// A handle that lets the transfer run.
[[nodiscard]] std::shared_ptr<_FS_HANDLE> make_handle();
/// Stops the transfer of this handle; safe from any thread.
void stop(_FS_HANDLE& handle);

/// Records the progress calls of one handle, which must not outlive it.
class ProgressLog {
 public:
  struct Call {
    std::int64_t total;
    std::int64_t now;
    double speed;
  };

  explicit ProgressLog(_FS_HANDLE& handle);
  [[nodiscard]] const std::vector<Call>& calls() const { return calls_; }

 private:
  static int take(std::int64_t total, std::int64_t now, void* context, double speed);

  std::vector<Call> calls_;
};

}  // namespace fakes
