// One login at one server: the plug-in's object with the host's types around it.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "host/remote/connect_options.h"
#include "host/remote/host_objects.h"
#include "host/remote/module.h"
#include "host/remote/operation.h"
#include "host/remote/remote_path.h"
#include "host/tree/tree.h"

namespace ftp_host {

/// The records that the plug-in delivered for the directory `id`, as a listing.
[[nodiscard]] Listing make_listing(const std::string& id, const std::vector<_FS_FILE_V2>& records);

/// File operations may run on several threads at once. Every operation returns the plug-in's code and throws
/// a Failure only for a cancellation; `require` turns a code into a Failure.
class Session {
 public:
  /// Logs in. Throws a Failure, whose exit code says whether the server was reached and refused the login.
  Session(const Module& module, Operations& operations, const RemoteUrl& url, const ConnectOptions& options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] Outcome list(const std::string& id, Listing& listing);
  /// Size and time of a file. `entry` is changed only on success; its name and id become those of `id`.
  [[nodiscard]] Outcome file_info(const std::string& id, Entry& entry);
  /// One range. `received` becomes the number of bytes that `writer` took, also after a failure.
  [[nodiscard]] Outcome read(const std::string& id, std::int64_t offset, std::int64_t length,
                             BlockWriter writer, std::int64_t& received);

  /// Stores `size` bytes from `reader` as `name` in `directory`; `stored` is what the server then says of it.
  [[nodiscard]] Outcome upload(const std::string& directory, const std::string& name, std::int64_t size,
                               BlockReader reader, Entry& stored);
  /// `made` becomes the new directory; it is changed only on success.
  [[nodiscard]] Outcome make_directory(const std::string& directory, const std::string& name, Entry& made);
  [[nodiscard]] Outcome remove_file(const std::string& id);
  [[nodiscard]] Outcome remove_directory(const std::string& id);
  /// `id` becomes `name` in `directory`.
  [[nodiscard]] Outcome move(const std::string& id, const std::string& directory, const std::string& name,
                             bool is_directory);
  [[nodiscard]] Outcome set_time(const std::string& id, std::time_t time);

  /// Whether the server takes modification times.
  [[nodiscard]] bool sets_times() const;
  [[nodiscard]] const RemoteUrl& url() const noexcept { return url_; }
  /// For messages: the URL of `id`.
  [[nodiscard]] std::string url_of(const std::string& id) const { return url_.root() + id; }
  [[nodiscard]] Operations& operations() const noexcept { return operations_; }
  [[nodiscard]] const Module& module() const noexcept { return module_; }

  /// Throws a Failure that names the URL of `id`, unless `outcome` is a success.
  void require(const Outcome& outcome, const std::string& id) const;
  /// A Failure for an operation that ended with `outcome`: "`what`: FAILED (1): what the server said".
  [[nodiscard]] Failure failure(const std::string& what, const Outcome& outcome,
                                ExitCode code = ExitCode::other) const;
  /// A Failure for what this program found out by itself: "`what`: FAILED (1)".
  [[nodiscard]] Failure failure(const std::string& what, AERROR error, ExitCode code = ExitCode::other) const;
  /// "URL: not found: FILE_NOT_FOUND (17)".
  [[nodiscard]] Failure not_found(const std::string& id, AERROR error = FILE_NOT_FOUND) const;

 private:
  void connect(const ConnectOptions& options);

  const Module& module_;
  Operations& operations_;
  RemoteUrl url_;
  struct Release {
    void operator()(IProtocol_V2* object) const noexcept { object->Release(); }
  };
  std::unique_ptr<IProtocol_V2, Release> protocol_;
};

}  // namespace ftp_host
