// How far a job is: counted by the threads that do it, read by whoever shows it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace ftp_host {

/// Counts the bytes and files of one job. All functions are safe from any thread.
class Progress {
 public:
  /// What is under way, at one moment.
  struct Snapshot {
    struct File {
      std::string name;
      std::int64_t size = 0;  ///< bytes; below zero when unknown
      std::int64_t done = 0;  ///< bytes
    };
    bool active = false;  ///< between begin() and end()
    std::vector<File> files;
    std::int64_t done = 0;     ///< bytes
    std::int64_t skipped = 0;  ///< bytes of `done` that an earlier run moved
    std::int64_t total = -1;   ///< bytes; below zero when unknown
    std::size_t files_done = 0;
    std::size_t files_total = 0;  ///< 0: files are not counted
  };

  Progress() = default;
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// The job starts: `bytes` in all, below zero when unknown; `files` in all, 0 when they are not counted.
  void begin(std::int64_t bytes, std::size_t files = 0);
  void end() { active_.store(false); }
  void file_done() { files_done_.fetch_add(1); }
  [[nodiscard]] Snapshot snapshot() const;

  /// One file under way, for as long as it lives.
  class File {
   public:
    /// `size` below zero when unknown.
    File(Progress& progress, std::string_view name, std::int64_t size);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    void moved(std::int64_t bytes);
    /// Bytes that an earlier run moved: part of the file, not of the rate.
    void skipped(std::int64_t bytes);

   private:
    friend class Progress;
    Progress& progress_;
    std::string name_;
    std::int64_t size_;
    std::atomic<std::int64_t> done_{0};
  };

 private:
  std::atomic<bool> active_{false};
  std::atomic<std::int64_t> done_{0};
  std::atomic<std::int64_t> skipped_{0};
  std::atomic<std::int64_t> total_{-1};
  std::atomic<std::size_t> files_done_{0};
  std::atomic<std::size_t> files_total_{0};
  mutable std::mutex mutex_;
  std::vector<const File*> files_;
};

}  // namespace ftp_host
