// The kinds of server that the live tests log in to, by name.
#pragma once

#include <ostream>
#include <vector>

#include "tests/servers/daemons.h"

namespace servers {

struct Server {
  const char* label;
  Daemon (*start_it)(const DaemonOptions&);
  DaemonOptions options;
  bool machine_listing;  ///< the listing comes as MLSD facts, with times to the second

  [[nodiscard]] Daemon start() const { return start_it(options); }
  [[nodiscard]] bool tls() const { return options.tls != Tls::kNone; }
};

inline std::ostream& operator<<(std::ostream& out, const Server& server) { return out << server.label; }

inline std::vector<Server> every_ftp_server() {
  return {{"ProFtpd", start_proftpd, {}, true},
          {"ProFtpdExplicitTls", start_proftpd, {.tls = Tls::kExplicit}, true},
          {"ProFtpdImplicitTls", start_proftpd, {.tls = Tls::kImplicit}, true},
          {"ProFtpdListOnly", start_proftpd, {.machine_listing = false}, false},
          {"Vsftpd", start_vsftpd, {}, false},
          {"VsftpdExplicitTls", start_vsftpd, {.tls = Tls::kExplicit}, false},
          {"VsftpdImplicitTls", start_vsftpd, {.tls = Tls::kImplicit}, false},
          {"PureFtpd", start_pure_ftpd, {}, true},
          {"PureFtpdExplicitTls", start_pure_ftpd, {.tls = Tls::kExplicit}, true},
          {"Pyftpdlib", start_pyftpdlib, {}, true},
          {"PyftpdlibExplicitTls", start_pyftpdlib, {.tls = Tls::kExplicit}, true}};
}

/// Without those that are reached through the fall-back only: each login there waits ten seconds for the
/// greeting that a server with implicit TLS does not send.
inline std::vector<Server> directly_reached_ftp_servers() {
  std::vector<Server> servers = every_ftp_server();
  std::erase_if(servers, [](const Server& server) { return server.options.tls == Tls::kImplicit; });
  return servers;
}

}  // namespace servers
