#include "tests/live/sites.h"

#include <utility>

#include "tests/servers/daemons.h"
#include "tests/servers/sshd.h"

namespace live {
namespace {

using servers::Daemon;
using servers::DaemonOptions;
using servers::Tls;

std::function<Place(const std::string&)> daemon(Daemon (*start)(const DaemonOptions&),
                                                DaemonOptions options = {}) {
  return [=](const std::string& zone) {
    DaemonOptions zoned = options;
    zoned.time_zone = zone;
    const auto server = std::make_shared<Daemon>(start(zoned));
    return Place{server,           server->url(),
                 server->user(),   server->password(),
                 server->folder(), [server] { server->hand_over(); }};
  };
}

Place open_ssh(const std::string& zone) {
  const auto server = std::make_shared<servers::Sshd>(servers::SshdOptions{.time_zone = zone});
  return {server,         server->url() + server->home().string(), server->user(), server->password(),
          server->home(), [server] { server->hand_over(); }};
}

}  // namespace

std::vector<Site> sites() {
  const DaemonOptions kTls{.tls = Tls::kExplicit};
  using enum LinkFacts;
  return {
      {"ProFtpd", false, kReachable, false, daemon(servers::start_proftpd)},
      {"ProFtpdExplicitTls", false, kReachable, false, daemon(servers::start_proftpd, kTls)},
      {"ProFtpdListOnly", false, kNone, false, daemon(servers::start_proftpd, {.machine_listing = false})},
      {"Vsftpd", false, kNone, false, daemon(servers::start_vsftpd)},
      {"VsftpdExplicitTls", false, kNone, false, daemon(servers::start_vsftpd, kTls)},
      {"PureFtpd", false, kAll, true, daemon(servers::start_pure_ftpd)},
      {"PureFtpdExplicitTls", false, kAll, true, daemon(servers::start_pure_ftpd, kTls)},
      {"Pyftpdlib", false, kFollowed, false, daemon(servers::start_pyftpdlib)},
      {"PyftpdlibExplicitTls", false, kFollowed, false, daemon(servers::start_pyftpdlib, kTls)},
      {"ProFtpdSftp", true, kNone, false, daemon(servers::start_proftpd_sftp)},
      {"OpenSsh", true, kNone, false, open_ssh}};
}

std::vector<Site> one_site_of_each_protocol() {
  std::vector<Site> few = sites();
  std::erase_if(few, [](const Site& site) {
    const std::string label = site.label;
    return label != "ProFtpd" && label != "ProFtpdExplicitTls" && label != "Vsftpd" && label != "OpenSsh";
  });
  return few;
}

}  // namespace live
