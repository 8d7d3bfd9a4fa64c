// The verbs of the command line, each spelt in one place: its name, its help and the function that does it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "host/cli/arguments.h"
#include "host/failure.h"

namespace CLI {
class App;
}

namespace ftp_host {

struct Context;

struct Verb {
  std::string_view name;
  std::string_view about;    ///< one line for --help
  std::string_view example;  ///< what stands behind "ftp-host" on a command line
  /// Adds the options and operands of the verb to its part of the command line. They fill `arguments`, which
  /// has to outlive `verb`.
  void (*add_options)(CLI::App& verb, Arguments& arguments);
  ExitCode (*run)(Context& context);
};

/// All verbs, in the order of --help.
[[nodiscard]] std::span<const Verb> all_verbs();

/// The verb with this name. Throws a Failure (usage) when there is none.
[[nodiscard]] const Verb& verb_named(std::string_view name);

}  // namespace ftp_host
