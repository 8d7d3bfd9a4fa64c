// Keeps SIGPIPE from the host while libcurl or an SSH session writes to a connection that the server closed.
// libcurl runs with signals off, and then leaves SIGPIPE alone: a TLS write would end the host's process.
#pragma once

#include <csignal>
#include <ctime>

#include "common/pinned.h"

namespace ftp_plugin {

/// Blocks SIGPIPE for this thread and swallows one that came meanwhile.
class sigpipe_guard : pinned {
 public:
  sigpipe_guard() noexcept {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    blocked_ = pthread_sigmask(SIG_BLOCK, &pipe_, &before_) == 0;
  }
  ~sigpipe_guard() {
    if (!blocked_) return;
    if (!was_pending_) {
      const timespec at_once{0, 0};
      while (sigtimedwait(&pipe_, nullptr, &at_once) == SIGPIPE) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
  bool blocked_ = false;
};

}  // namespace ftp_plugin
