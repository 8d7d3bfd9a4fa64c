#include "host/cancellation.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "host/failure.h"

namespace ftp_host {

void stop_transfer(_FS_HANDLE& handle) noexcept {
  std::atomic_ref<std::int32_t>{handle.state}.store(FS_HANDLE_STOP, std::memory_order_release);
}

Cancellation::Cancellation() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signals_ = Descriptor{signalfd(-1, &set, SFD_CLOEXEC)};
  event_ = Descriptor{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  stop_ = Descriptor{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  if (!signals_ || !event_ || !stop_) throw local_failure("cannot watch for signals", errno);
  watcher_ = std::thread{[this] { watch(); }};
}

Cancellation::~Cancellation() {
  (void)eventfd_write(stop_.get(), 1);
  watcher_.join();
}

void Cancellation::watch() {
  pollfd waits[] = {{signals_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
  for (;;) {
    if (poll(waits, 2, -1) < 0) continue;  // EINTR
    if (waits[1].revents != 0) return;
    signalfd_siginfo info{};
    if (read(signals_.get(), &info, sizeof info) != sizeof info) continue;
    if (requested()) _exit(static_cast<int>(ExitCode::cancelled));
    request();
  }
}

void Cancellation::request() {
  const std::lock_guard lock{mutex_};
  requested_.store(true);
  (void)eventfd_write(event_.get(), 1);
  for (const auto& weak : handles_) {
    if (const auto handle = weak.lock()) stop_transfer(*handle);
  }
}

void Cancellation::check() const {
  if (requested()) throw Failure{ExitCode::cancelled, "cancelled"};
}

std::shared_ptr<_FS_HANDLE> Cancellation::new_handle() {
  auto handle = std::make_shared<_FS_HANDLE>();
  const std::lock_guard lock{mutex_};
  handles_.erase(
      std::remove_if(handles_.begin(), handles_.end(), [](const auto& weak) { return weak.expired(); }),
      handles_.end());
  handles_.push_back(handle);
  if (requested()) stop_transfer(*handle);
  return handle;
}

}  // namespace ftp_host
