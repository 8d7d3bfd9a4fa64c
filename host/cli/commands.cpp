#include "host/cli/commands.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <array>

#include "host/cli/credentials.h"

namespace ftp_host {
namespace {

struct Verb {
  std::string_view name;
  ExitCode (*run)(Context&);
};
constexpr std::array kVerbs{
    Verb{"inspect", run_inspect}, Verb{"ls", run_ls},   Verb{"stat", run_stat},   Verb{"cat", run_cat},
    Verb{"get", run_get},         Verb{"put", run_put}, Verb{"mkdir", run_mkdir}, Verb{"rm", run_rm},
    Verb{"rmdir", run_rmdir},     Verb{"mv", run_mv},   Verb{"touch", run_touch}, Verb{"sync", run_sync},
};

/// SFTP knows no anonymous login: as ssh does, the user's own name is the default.
std::string own_user_name() {
  const passwd* const entry = getpwuid(getuid());
  return entry == nullptr ? "" : entry->pw_name;
}

void fill_credentials(Context& context, const RemoteUrl& url) {
  ConnectOptions& connect = context.arguments.connect;
  if (connect.user.empty()) connect.user = url.user;
  if (connect.user.empty() && url.scheme == "sftp") connect.user = own_user_name();
  (void)take_environment("FTP_PROXY_PASSWORD", connect.proxy.password);
  std::string from_environment;
  const bool in_environment = take_environment("FTP_PASSWORD", from_environment);
  if (connect.user.empty()) return;
  if (context.arguments.password_stdin) {
    connect.password = password_from_stdin();
  } else if (in_environment) {
    connect.password = from_environment;
  } else if (can_prompt()) {
    connect.password = prompt_password(fmt::format("Password of {} at {}: ", connect.user, url.server),
                                       context.operations.cancellation());
  }
}

}  // namespace

ExitCode run_command(Context& context) {
  for (const Verb& verb : kVerbs) {
    if (verb.name == context.arguments.verb) return verb.run(context);
  }
  throw Failure{ExitCode::usage, "unknown verb " + context.arguments.verb};
}

std::unique_ptr<Session> open_session(Context& context, RemoteUrl& url) {
  fill_credentials(context, url);
  return std::make_unique<Session>(context.module, context.operations, url, context.arguments.connect);
}

}  // namespace ftp_host
