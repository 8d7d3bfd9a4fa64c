// Where the password comes from: the prompt, the environment or standard input, never an argument.
#pragma once

#include <string>

#include "host/cancellation.h"

namespace ftp_host {

/// Asks on the terminal. The echo is off meanwhile, and on again however the function ends. Throws a Failure
/// when there is no terminal, and on Ctrl-C.
[[nodiscard]] std::string prompt_password(const std::string& question, const Cancellation& cancellation);
/// The first line of standard input. Throws a Failure (usage) when there is none.
[[nodiscard]] std::string password_from_stdin();
/// Moves an environment variable into `value`, so that no child inherits it; false when it is not set.
[[nodiscard]] bool take_environment(const char* name, std::string& value);
/// Whether there is a terminal to ask on.
[[nodiscard]] bool can_prompt();

}  // namespace ftp_host
