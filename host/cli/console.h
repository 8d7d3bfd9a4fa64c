// Standard output and standard error: results, messages and the one line of progress, without mixing them up.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "host/messages.h"

namespace ftp_host {

/// Safe from any thread.
class Console final : public Messages {
 public:
  Console(int verbosity, bool quiet);

  /// Writes a result to standard output. Throws a Failure when it cannot be written.
  void print(std::string_view text);
  /// Writes out what print() holds back.
  void flush();

  /// "ftp-host: text" on standard error.
  void complain(std::string_view text) override;
  /// The same, unless --quiet.
  void notice(std::string_view text) override;
  /// The same with -v.
  void detail(std::string_view text) override;
  [[noreturn]] void leave(ExitCode code, std::string_view text) override;
  void abandon() noexcept override { abandoned_.store(true); }
  [[nodiscard]] bool abandoned() const noexcept { return abandoned_.load(); }

  /// Shows `text` as the progress line; an empty text takes it away. Only on a terminal.
  void show_progress(std::string_view text);
  [[nodiscard]] bool wants_progress() const noexcept { return progress_; }
  /// Of the terminal on standard error, in columns.
  [[nodiscard]] std::size_t width() const noexcept;

  /// A name from the server for standard output: escaped when that is a terminal.
  [[nodiscard]] std::string shown_name(std::string_view name) const;

  /// Called before leave() ends the process.
  std::function<void()> before_leaving;

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
