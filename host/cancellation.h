// Ctrl-C. The first one asks every transfer to stop, through the state of its handle. The second one ends
// the process at once.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "boundary/abi/transfer_handle.h"
#include "host/owner.h"

namespace ftp_host {

/// Create it before the first thread. From then on SIGINT, SIGTERM and SIGHUP are blocked in every thread;
/// one thread of this class reads them as data, so nothing ever runs inside a signal handler.
class Cancellation {
 public:
  Cancellation();
  ~Cancellation();
  Cancellation(const Cancellation&) = delete;
  Cancellation& operator=(const Cancellation&) = delete;

  [[nodiscard]] bool requested() const noexcept { return requested_.load(); }
  /// Stops everything, as Ctrl-C does.
  void request();
  /// Throws a Failure (cancelled) once a stop was asked for.
  void check() const;
  /// Readable from the moment a stop was asked for.
  [[nodiscard]] int event() const noexcept { return event_.get(); }
  /// A handle for one transfer, which request() stops. After a request it is stopped from the beginning.
  [[nodiscard]] std::shared_ptr<_FS_HANDLE> new_handle();

 private:
  void watch();

  std::atomic<bool> requested_{false};
  std::mutex mutex_;
  std::vector<std::weak_ptr<_FS_HANDLE>> handles_;
  Descriptor signals_, event_, stop_;
  std::thread watcher_;
};

/// Stops the transfer of `handle`: the plug-in reads the state with an atomic load.
void stop_transfer(_FS_HANDLE& handle) noexcept;

}  // namespace ftp_host
