#include "host/cli/commands.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include "host/cli/credentials.h"

namespace ftp_host {
namespace {

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

std::unique_ptr<Session> open_session(Context& context, RemoteUrl& url) {
  fill_credentials(context, url);
  return std::make_unique<Session>(context.module, context.operations, url, context.arguments.connect);
}

}  // namespace ftp_host
