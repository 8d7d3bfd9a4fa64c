// Where the password comes from: the prompt, the environment or standard input, never an argument.
#pragma once

#include <string>

#include "host/cancellation.h"

namespace ftp_host {

/// Asks on the terminal, without echo, which is put back on every way out. Throws a Failure when there is no
/// terminal, or on Ctrl-C.
[[nodiscard]] std::string prompt_password(const std::string& question, const Cancellation& cancellation);
/// The first line of standard input.
[[nodiscard]] std::string password_from_stdin();
/// The value of an environment variable; taken out of the environment, so that no child inherits it.
[[nodiscard]] bool take_environment(const char* name, std::string& value);
/// Whether there is a terminal to ask on.
[[nodiscard]] bool can_prompt();

}  // namespace ftp_host
