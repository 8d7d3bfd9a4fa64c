// Standard output and standard error: results, messages and the one line of progress, without mixing them up.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "host/failure.h"

namespace ftp_host {

/// Safe from any thread.
class Console {
 public:
  Console(int verbosity, bool quiet);

  /// Writes a result to standard output. Throws a Failure when it cannot be written.
  void print(std::string_view text);
  /// Writes out what print() holds back.
  void flush();
  /// A message of the tool: "ftp-host: text".
  void complain(std::string_view text);
  /// A notice that --quiet suppresses.
  void notice(std::string_view text);
  /// A notice for -v.
  void detail(std::string_view text);
  /// Shows `text` as the progress line; an empty text takes it away. Only on a terminal.
  void show_progress(std::string_view text);
  [[nodiscard]] bool wants_progress() const noexcept { return progress_; }
  [[nodiscard]] std::size_t width() const noexcept;

  /// A name from the server for standard output: escaped when that is a terminal.
  [[nodiscard]] std::string shown_name(std::string_view name) const;

  /// Called before the process ends in a hurry.
  std::function<void()> before_leaving;
  /// Ends the process at once with `text` as the message: a call into the plug-in is still running, so
  /// nothing may be destroyed.
  [[noreturn]] void leave(ExitCode code, std::string_view text);
  /// A thread was left behind inside the plug-in: main() must end the process without unloading it.
  void abandon() noexcept { abandoned_.store(true); }
  [[nodiscard]] bool abandoned() const noexcept { return abandoned_.load(); }

 private:
  void line(std::string_view text);

  std::recursive_mutex mutex_;
  int verbosity_;
  bool quiet_;
  bool terminal_output_;
  bool progress_;
  bool progress_shown_ = false;
  std::atomic<bool> abandoned_{false};
};

}  // namespace ftp_host
