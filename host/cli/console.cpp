#include "host/cli/console.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "host/names.h"

namespace ftp_host {
namespace {

[[noreturn]] void output_failed(int error) {
  if (error == EPIPE) {  // the reader has enough, as in "| head": end as every filter does
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    std::signal(SIGPIPE, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    std::raise(SIGPIPE);
  }
  throw local_failure("standard output", error);
}

}  // namespace

Console::Console(int verbosity, bool quiet)
    : verbosity_{verbosity},
      quiet_{quiet},
      terminal_output_{isatty(STDOUT_FILENO) != 0},
      progress_{!quiet && isatty(STDERR_FILENO) != 0} {}

void Console::print(std::string_view text) {
  const std::lock_guard lock{mutex_};
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) output_failed(errno);
}

void Console::flush() {
  const std::lock_guard lock{mutex_};
  if (std::fflush(stdout) != 0) output_failed(errno);
}

void Console::line(std::string_view text) {
  const std::lock_guard lock{mutex_};
  show_progress("");
  std::fflush(stdout);
  fmt::print(stderr, "ftp-host: {}\n",
             isatty(STDERR_FILENO) != 0 ? escape_for_terminal(text) : std::string{text});
}

void Console::complain(std::string_view text) { line(text); }

void Console::notice(std::string_view text) {
  if (!quiet_) line(text);
}

void Console::detail(std::string_view text) {
  if (verbosity_ > 0) line(text);
}

void Console::show_progress(std::string_view text) {
  if (!progress_) return;
  const std::lock_guard lock{mutex_};
  if (text.empty() && !progress_shown_) return;
  fmt::print(stderr, "\r\x1b[K{}", text);
  std::fflush(stderr);
  progress_shown_ = !text.empty();
}

std::size_t Console::width() const noexcept {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}

std::string Console::shown_name(std::string_view name) const {
  return terminal_output_ ? escape_for_terminal(name) : std::string{name};
}

void Console::leave(ExitCode code, std::string_view text) {
  complain(text);
  std::fflush(stdout);
  if (before_leaving) before_leaving();
  _exit(static_cast<int>(code));
}

}  // namespace ftp_host
