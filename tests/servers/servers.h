// The kinds of server that the live tests log in to, by name.
#pragma once

#include <ostream>
#include <vector>

#include "tests/servers/daemons.h"

namespace live {

struct Server {
  const char* label;
  fakes::Daemon (*start_it)(const fakes::DaemonOptions&);
  fakes::DaemonOptions options;
  bool machine_listing;  ///< the listing comes as MLSD facts, with times to the second

  [[nodiscard]] fakes::Daemon start() const { return start_it(options); }
  [[nodiscard]] bool tls() const { return options.tls != fakes::Tls::kNone; }
};

inline std::ostream& operator<<(std::ostream& out, const Server& server) { return out << server.label; }

inline std::vector<Server> every_ftp_server() {
  using fakes::Tls;
  return {{"ProFtpd", fakes::start_proftpd, {}, true},
          {"ProFtpdExplicitTls", fakes::start_proftpd, {.tls = Tls::kExplicit}, true},
          {"ProFtpdImplicitTls", fakes::start_proftpd, {.tls = Tls::kImplicit}, true},
          {"ProFtpdListOnly", fakes::start_proftpd, {.machine_listing = false}, false},
          {"Vsftpd", fakes::start_vsftpd, {}, false},
          {"VsftpdExplicitTls", fakes::start_vsftpd, {.tls = Tls::kExplicit}, false},
          {"VsftpdImplicitTls", fakes::start_vsftpd, {.tls = Tls::kImplicit}, false},
          {"PureFtpd", fakes::start_pure_ftpd, {}, true},
          {"PureFtpdExplicitTls", fakes::start_pure_ftpd, {.tls = Tls::kExplicit}, true},
          {"Pyftpdlib", fakes::start_pyftpdlib, {}, true},
          {"PyftpdlibExplicitTls", fakes::start_pyftpdlib, {.tls = Tls::kExplicit}, true}};
}

/// Without those that are reached through the fall-back only: each login there waits ten seconds for the
/// greeting that a server with implicit TLS does not send.
inline std::vector<Server> directly_reached_ftp_servers() {
  std::vector<Server> servers = every_ftp_server();
  std::erase_if(servers, [](const Server& server) { return server.options.tls == fakes::Tls::kImplicit; });
  return servers;
}

}  // namespace live
