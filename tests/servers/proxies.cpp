#include <sstream>
#include <utility>

#include "tests/servers/daemon_state.h"

namespace servers {

namespace fs = std::filesystem;

Daemon start_dante() {
  auto state = std::make_unique<Daemon::State>("Dante", DaemonOptions{});
  std::ostringstream config;
  config << "logoutput: " << (state->logs / "requests").string() << "\ninternal: " << state->host
         << " port = " << state->port.number
         << "\nexternal: 127.0.0.1\nclientmethod: none\nsocksmethod: none\n"
         << (is_root() ? "user.privileged: root\nuser.unprivileged: nobody\n" : "")
         << "client pass { from: 0.0.0.0/0 to: 0.0.0.0/0 }\n"
         << "socks pass { from: 0.0.0.0/0 to: 0.0.0.0/0 protocol: tcp }\n";
  write_text(state->file("config"), config.str());
  state->start({Daemon::State::unpacked("usr/sbin/danted").string(), "-f", state->file("config").string(),
                "-p", state->file("pid").string()},
               false);
  return Daemon{std::move(state)};
}

Daemon start_microsocks(bool credentials) {
  auto state = std::make_unique<Daemon::State>("microsocks", DaemonOptions{});
  std::vector<std::string> command{Daemon::State::unpacked("usr/bin/microsocks").string(), "-i", state->host,
                                   "-p", std::to_string(state->port.number)};
  if (credentials) command.insert(command.end(), {"-u", kUser, "-P", kPassword});
  state->start(command, false);
  return Daemon{std::move(state)};
}

Daemon start_tinyproxy(bool credentials) {
  auto state = std::make_unique<Daemon::State>("tinyproxy", DaemonOptions{});
  state->password = "letters-and-digits.1";  // it takes no others
  std::ostringstream config;
  // Without a ConnectPort line every port may be reached.
  config << "Listen " << state->host << "\nPort " << state->port.number << "\nAllow 127.0.0.1\nTimeout 600\n"
         << "LogFile " << quoted(state->logs / "requests") << "\nLogLevel Connect\n";
  if (credentials) config << "BasicAuth " << kUser << " " << state->password << "\n";
  write_text(state->file("config"), config.str());
  state->start(
      {Daemon::State::unpacked("usr/bin/tinyproxy").string(), "-d", "-c", state->file("config").string()},
      false);
  return Daemon{std::move(state)};
}

Daemon start_squid(bool credentials) {
  auto state = std::make_unique<Daemon::State>("Squid", DaemonOptions{});
  // It starts its helpers after it has changed its user, who may not be allowed to go where they are
  // unpacked.
  for (const char* helper : {"basic_ncsa_auth", "unlinkd"}) {
    fs::copy_file(Daemon::State::unpacked(std::string{"usr/lib/squid/"} + helper), state->file(helper));
  }
  for (const char* file : {"mime.conf", "errorpage.css"}) {
    const char* where = std::string{file} == "mime.conf" ? "usr/share/squid/" : "etc/squid/";
    fs::copy_file(Daemon::State::unpacked(std::string{where} + file), state->file(file));
  }
  fs::copy(Daemon::State::unpacked("usr/share/squid/icons"), state->file("icons"),
           fs::copy_options::recursive);
  fs::create_directory(state->file("errors"));
  write_text(state->file("users"), kUser + ":" + kPasswordHash + "\n");
  // It writes its log and its pid as the other user.
  give_to_server(state->folder.path());
  give_to_server(state->logs);
  std::ostringstream config;
  config << "http_port " << state->host << ":" << state->port.number << "\n"
         << "cache deny all\ncache_store_log none\nnetdb_filename none\npinger_enable off\n"
         << "shutdown_lifetime 0 seconds\nvisible_hostname live-test\ncache_effective_user nobody\n"
         << "access_log stdio:" << (state->logs / "requests").string() << "\n"
         << "cache_log " << (state->logs / "cache").string() << "\n"
         << "pid_filename " << state->file("pid").string() << "\n"
         << "coredump_dir " << state->folder.path().string() << "\n"
         << "mime_table " << state->file("mime.conf").string() << "\n"
         << "icon_directory " << state->file("icons").string() << "\n"
         << "error_directory " << state->file("errors").string() << "\n"
         << "err_page_stylesheet " << state->file("errorpage.css").string() << "\n"
         << "unlinkd_program " << state->file("unlinkd").string()
         << "\n"
         // A slow test must not find its tunnel closed.
         << "read_timeout 15 minutes\n";
  if (credentials) {
    config << "auth_param basic program " << state->file("basic_ncsa_auth").string() << " "
           << state->file("users").string() << "\nauth_param basic children 2\n"
           << "acl known proxy_auth REQUIRED\nhttp_access allow known\nhttp_access deny all\n";
  } else {
    config << "http_access allow all\n";
  }
  write_text(state->file("config"), config.str());
  state->start(
      {Daemon::State::unpacked("usr/sbin/squid").string(), "-N", "-f", state->file("config").string()},
      false);
  return Daemon{std::move(state)};
}

}  // namespace servers
