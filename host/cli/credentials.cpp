#include "host/cli/credentials.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

#include "host/failure.h"
#include "host/owner.h"

namespace ftp_host {
namespace {

/// The terminal of this process; none when it has no terminal.
Descriptor open_terminal() { return Descriptor{open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)}; }

/// The terminal with its echo off.
class SilentTerminal {
 public:
  SilentTerminal() {
    if (!file_)
      throw local_failure("no terminal to ask for the password (use FTP_PASSWORD or --password-stdin)",
                          errno);
    tcgetattr(file_.get(), &before_);
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent.c_lflag |= ECHONL;
    tcsetattr(file_.get(), TCSAFLUSH, &silent);
  }
  ~SilentTerminal() { tcsetattr(file_.get(), TCSAFLUSH, &before_); }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;
  [[nodiscard]] int file() const noexcept { return file_.get(); }

 private:
  Descriptor file_ = open_terminal();
  termios before_{};
};

}  // namespace

bool can_prompt() { return bool{open_terminal()}; }

std::string prompt_password(const std::string& question, const Cancellation& cancellation) {
  const SilentTerminal terminal;
  (void)!write(terminal.file(), question.data(), question.size());
  std::string password;
  for (;;) {
    pollfd waits[] = {{terminal.file(), POLLIN, 0}, {cancellation.event(), POLLIN, 0}};
    if (poll(waits, 2, -1) < 0) continue;
    cancellation.check();
    char byte = 0;
    const ssize_t got = read(terminal.file(), &byte, 1);
    if (got <= 0 || byte == '\n') return password;
    password.push_back(byte);
  }
}

std::string password_from_stdin() {
  std::string line;
  if (!std::getline(std::cin, line))
    throw Failure{ExitCode::usage, "--password-stdin: no line on standard input"};
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

bool take_environment(const char* name, std::string& value) {
  const char* const text = std::getenv(name);
  if (text == nullptr) return false;
  value = text;
  unsetenv(name);
  return true;
}

}  // namespace ftp_host
