// The objects that the plug-in calls back.
#pragma once

#include <functional>
#include <vector>

#include "boundary/abi/host_interfaces.h"
#include "host/remote/operation.h"

namespace ftp_host {

/// Returns an empty text for the plug-in's one question, and ignores its notices.
class Manager final : public IProtocolManager {
 public:
  int QueryValue(const char* key, char* buffer, int* size) override;
  int PostValue(const char* value, const char* what, const char* same_value) override;
};

/// Copies the records of a listing.
class EntryCollector final : public IFileList {
 public:
  EntryCollector(std::vector<_FS_FILE_V2>& records, LifeSign& life) : records_{records}, life_{life} {}
  int AddFile(_FS_FILE_V2* file) override;

 private:
  std::vector<_FS_FILE_V2>& records_;
  LifeSign& life_;
};

/// Receives one block: its offset in the file, its bytes and their number. False stops the transfer.
using BlockWriter = std::function<bool(std::int64_t offset, const char* data, std::size_t length)>;

/// Hands the blocks of a download to a writer. When the writer returns false, it stops the transfer through
/// its handle, and the writer is not called again.
class FetchSink final : public IFetchCallback {
 public:
  FetchSink(BlockWriter writer, std::shared_ptr<_FS_HANDLE> handle, LifeSign& life)
      : writer_{std::move(writer)}, handle_{std::move(handle)}, life_{life} {}
  int Deliver(long long offset, const char* data, long long length, long long reserved) override;
  /// Bytes that the writer took.
  [[nodiscard]] std::int64_t received() const noexcept { return received_; }

 private:
  BlockWriter writer_;
  std::shared_ptr<_FS_HANDLE> handle_;
  LifeSign& life_;
  std::int64_t received_ = 0;
  bool refused_ = false;
};

/// Fills up to `length` bytes from `offset` on and returns their number; below zero stops the transfer.
using BlockReader = std::function<std::int64_t(std::int64_t offset, char* buffer, std::size_t length)>;

/// The source of an upload.
class UploadSource final : public ICacheIO {
 public:
  UploadSource(BlockReader reader, LifeSign& life) : reader_{std::move(reader)}, life_{life} {}
  int ReadBlock(CACHE_READ_REQUEST* request) override;
  [[nodiscard]] std::int64_t sent() const noexcept { return sent_; }

 private:
  BlockReader reader_;
  LifeSign& life_;
  std::int64_t sent_ = 0;
};

}  // namespace ftp_host
