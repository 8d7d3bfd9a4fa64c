// What the verbs do. Each function runs one command and returns the exit code. A command that cannot be
// finished throws a Failure.
#pragma once

#include <memory>
#include <string>

#include "host/cli/arguments.h"
#include "host/cli/console.h"
#include "host/remote/module.h"
#include "host/remote/operation.h"
#include "host/remote/session.h"

namespace ftp_host {

/// What every command works with.
struct Context {
  const Module& module;
  Operations& operations;
  Console& console;
  Arguments& arguments;  ///< the password is added to it when a session is opened
};

/// Logs in at the server of `url`, with the password from where the user keeps it.
[[nodiscard]] std::unique_ptr<Session> open_session(Context& context, RemoteUrl& url);

[[nodiscard]] ExitCode run_inspect(Context& context);
[[nodiscard]] ExitCode run_ls(Context& context);
[[nodiscard]] ExitCode run_stat(Context& context);
[[nodiscard]] ExitCode run_cat(Context& context);
[[nodiscard]] ExitCode run_get(Context& context);
[[nodiscard]] ExitCode run_put(Context& context);
[[nodiscard]] ExitCode run_mkdir(Context& context);
[[nodiscard]] ExitCode run_rm(Context& context);
[[nodiscard]] ExitCode run_rmdir(Context& context);
[[nodiscard]] ExitCode run_mv(Context& context);
[[nodiscard]] ExitCode run_touch(Context& context);
[[nodiscard]] ExitCode run_sync(Context& context);

}  // namespace ftp_host
