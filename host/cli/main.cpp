// The command-line host: logs in through the plug-in and works with the files of one server.
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/trace.h"
#include "host/cli/verbs.h"

namespace {

using namespace ftp_host;

/// What a failure is to the user: a message, and the exit code of the program.
ExitCode told(Console& console, const Failure& failure) {
  console.complain(failure.what());
  return failure.code();
}

ExitCode run(Arguments& arguments, Console& console, Cancellation& cancellation) {
  PluginLog log{arguments.trace_file, arguments.verbosity > 1};
  console.before_leaving = [&log] { log.flush(); };
  const Module module{arguments.plugin_file.empty() ? default_plugin_file() : arguments.plugin_file};
  (void)module.BindLogger(&log);
  Operations operations{cancellation, console, arguments.timeout};
  Context context{module, operations, console, arguments};
  ExitCode code = ExitCode::ok;
  try {
    code = verb_named(arguments.verb).run(context);
    console.flush();
  } catch (const Failure& failure) {
    code = told(console, failure);
  }
  if (console.abandoned()) {
    std::fflush(stdout);
    log.flush();
    _exit(static_cast<int>(code));
  }
  module.UnbindLogger();
  console.before_leaving = nullptr;
  return code;
}

}  // namespace

int main(int count, char** values) {
  // The locale's character set is the one that the plug-in converts names from and to.
  std::setlocale(LC_ALL, "");
  // A server that hangs up must not end the process in the middle of a write.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    Parsed parsed = parse_arguments(count, values);
    if (!parsed.arguments) {
      std::fputs(parsed.text.c_str(), parsed.exit_code == 0 ? stdout : stderr);
      return parsed.exit_code;
    }
    Cancellation cancellation;
    Console console{parsed.arguments->verbosity, parsed.arguments->quiet};
    try {
      return static_cast<int>(run(*parsed.arguments, console, cancellation));
    } catch (const Failure& failure) {
      return static_cast<int>(told(console, failure));
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ftp-host: %s\n", error.what());
    return static_cast<int>(ExitCode::other);
  }
}
