// How the tool ends: the exit codes, and the exception that carries one to main().
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace ftp_host {

/// Exit codes of the program. They are part of its interface: scripts tell the cases apart by them.
enum class ExitCode : int {
  ok = 0,
  other = 1,
  usage = 2,
  login_refused = 3,
  not_reached = 4,
  not_found = 5,
  local_file = 6,
  timed_out = 124,  // as timeout(1)
  cancelled = 130,  // what a shell reports for SIGINT
};

/// Ends what is under way; what() is one line for the user, without the program's name.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error{text}, code_{code} {}
  [[nodiscard]] ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// Runs `step` and returns the Failure that ended it; none when it came to its end. A cancellation ends
/// everything and is passed on, as is any other exception.
template <class Step>
[[nodiscard]] std::optional<Failure> failure_of(Step&& step) {
  try {
    step();
    return std::nullopt;
  } catch (const Failure& failure) {
    if (failure.code() == ExitCode::cancelled) throw;
    return failure;
  }
}

/// A Failure about a local file: `text`, then what the C library says about `error`.
[[nodiscard]] Failure local_failure(const std::string& text, int error);

/// The table of exit codes as --help prints it.
[[nodiscard]] std::string exit_code_table();

}  // namespace ftp_host
