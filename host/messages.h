// What the rooms below the command line tell the user, without knowing where it is shown.
#pragma once

#include <string_view>

#include "host/failure.h"

namespace ftp_host {

/// Implementations are safe from any thread.
class Messages {
 public:
  Messages() = default;
  virtual ~Messages() = default;
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;

  /// Something failed.
  virtual void complain(std::string_view text) = 0;
  /// Something that the user did not ask for, such as a file that is left out.
  virtual void notice(std::string_view text) = 0;
  /// What is done, for a user who wants to know it all.
  virtual void detail(std::string_view text) = 0;

  /// Ends the process at once, with `text` as the last complaint. It is for moments when a call into the
  /// plug-in cannot be stopped: then nothing that it uses may be destroyed.
  [[noreturn]] virtual void leave(ExitCode code, std::string_view text) = 0;
  /// Says that a thread was left behind inside the plug-in: the process must end without unloading it.
  virtual void abandon() noexcept = 0;
};

}  // namespace ftp_host
