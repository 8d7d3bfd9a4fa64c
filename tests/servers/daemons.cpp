#include "tests/servers/daemons.h"

#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/servers/daemon_state.h"

namespace servers {

namespace fs = std::filesystem;

namespace {

Daemon start_proftpd_as(const DaemonOptions& options, bool sftp) {
  auto state = std::make_unique<Daemon::State>(sftp ? "ProFTPD's SFTP module" : "ProFTPD", options);
  const auto [uid, gid] = server_user();
  // It refuses a user file that others may read.
  write_text(state->file("users"),
             kUser + ":" + kPasswordHash + ":" + std::to_string(uid) + ":" + std::to_string(gid) +
                 "::" + state->served.string() + ":/bin/sh\n",
             fs::perms{0600});
  std::ostringstream config;
  config << "ModulePath " << quoted(Daemon::State::unpacked("usr/lib/proftpd")) << "\n"
         << "ServerName live-test\nServerType standalone\n"
         << "UseIPv6 " << (options.ipv6 ? "on" : "off") << "\n"
         << "DefaultAddress " << state->host << "\nSocketBindTight on\nPort " << state->port.number << "\n"
         << "PassivePorts " << kFirstDataPort << " " << kLastDataPort << "\n"
         << "UseReverseDNS off\nDelayTable none\nControlsEngine off\nWtmpLog off\nTransferLog none\n"
         << "PidFile " << quoted(state->file("pid")) << "\n"
         << "ScoreboardFile " << quoted(state->file("scoreboard")) << "\n"
         << "SystemLog " << quoted(state->logs / "system") << "\n"
         << "ExtendedLog " << quoted(state->logs / "commands") << " ALL\n"
         << "AuthOrder mod_auth_file.c\nAuthPAM off\nAuthUserFile " << quoted(state->file("users")) << "\n"
         << "RequireValidShell off\nAllowOverwrite on\nAllowStoreRestart on\nMaxInstances 300\n"
         << "UseEncoding " << (options.utf8 ? "UTF-8 UTF-8" : "off") << "\n";
  if (is_root()) {
    config << "User nobody\nGroup nogroup\nDefaultRoot ~\n";
  } else {
    state->remote_root = state->served.string();
  }
  if (!options.machine_listing) {
    config << "FactsAdvertise off\n<Limit MLSD MLST MFMT MFF OPTS_MLST>\nDenyAll\n</Limit>\n";
  }
  if (sftp) {
    state->scheme = "sftp";
    run({"ssh-keygen", "-q", "-t", "ecdsa", "-N", "", "-m", "PEM", "-f", state->file("host_key").string()});
    config << "LoadModule mod_sftp.c\nSFTPEngine on\nSFTPAuthMethods password\n"
           << "SFTPLog " << quoted(state->logs / "sftp") << "\n"
           << "SFTPHostKey " << quoted(state->file("host_key")) << "\n";
  }
  if (options.tls != Tls::kNone) {
    state->make_certificate();
    config << "LoadModule mod_tls.c\nTLSEngine on\nTLSProtocol TLSv1.2 TLSv1.3\nTLSRequired off\n"
           << "TLSLog " << quoted(state->logs / "tls") << "\n"
           << "TLSECCertificateFile " << quoted(state->file("cert.pem")) << "\n"
           << "TLSECCertificateKeyFile " << quoted(state->file("key.pem")) << "\n";
    if (options.tls == Tls::kImplicit || !options.session_reuse) {
      config << "TLSOptions" << (options.tls == Tls::kImplicit ? " UseImplicitSSL" : "")
             << (options.session_reuse ? "" : " NoSessionReuseRequired") << "\n";
    }
  }
  write_text(state->file("config"), config.str());
  state->start(
      {Daemon::State::unpacked("usr/sbin/proftpd").string(), "-n", "-c", state->file("config").string()},
      options.tls != Tls::kImplicit);
  return Daemon{std::move(state)};
}

}  // namespace

Daemon start_proftpd(const DaemonOptions& options) { return start_proftpd_as(options, false); }

Daemon start_proftpd_sftp(const DaemonOptions& options) {
  if (options.tls != Tls::kNone) throw std::invalid_argument{"SFTP knows no TLS"};
  return start_proftpd_as(options, true);
}

Daemon start_vsftpd(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("vsftpd", options);
  state->need_root();
  state->add_system_user();
  fs::create_directory(state->file("empty"));
  std::ostringstream config;
  config << "listen=" << (options.ipv6 ? "NO" : "YES") << "\nlisten_ipv6=" << (options.ipv6 ? "YES" : "NO")
         << "\n"
         << (options.ipv6 ? "listen_address6=" : "listen_address=") << state->host << "\n"
         << "listen_port=" << state->port.number << "\nbackground=NO\n"
         << "pasv_min_port=" << kFirstDataPort << "\npasv_max_port=" << kLastDataPort << "\n"
         << "anonymous_enable=NO\nlocal_enable=YES\nwrite_enable=YES\nlocal_umask=022\n"
         << "chroot_local_user=YES\nallow_writeable_chroot=YES\nsecure_chroot_dir="
         << state->file("empty").string() << "\n"
         << "nopriv_user=nobody\npam_service_name=live-test\nsession_support=NO\n"
         // Its sandboxes need rights that a container does not have.
         << "seccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\n"
         << "force_dot_files=YES\nconnect_from_port_20=NO\nmax_per_ip=300\n"
         << "xferlog_enable=YES\nlog_ftp_protocol=YES\nvsftpd_log_file="
         << (state->logs / "commands").string() << "\n";
  if (options.tls != Tls::kNone) {
    state->make_certificate();
    config << "ssl_enable=YES\nssl_tlsv1=YES\nssl_ciphers=HIGH\nrsa_cert_file="
           << state->file("cert.pem").string() << "\nrsa_private_key_file=" << state->file("key.pem").string()
           << "\nforce_local_data_ssl=NO\nforce_local_logins_ssl=NO\n"
           << "require_ssl_reuse=" << (options.session_reuse ? "YES" : "NO") << "\n"
           << "implicit_ssl=" << (options.tls == Tls::kImplicit ? "YES" : "NO") << "\n";
  }
  write_text(state->file("config"), config.str());
  state->start({Daemon::State::unpacked("usr/sbin/vsftpd").string(), state->file("config").string()},
               options.tls != Tls::kImplicit);
  return Daemon{std::move(state)};
}

Daemon start_pure_ftpd(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("Pure-FTPd", options);
  state->need_root();
  if (options.tls == Tls::kImplicit)
    throw std::invalid_argument{"Pure-FTPd: implicit TLS comes without AUTH"};
  const auto [uid, gid] = server_user();
  write_text(state->file("users"), kUser + ":" + kPasswordHash + ":" + std::to_string(uid) + ":" +
                                       std::to_string(gid) + "::" + state->served.string() +
                                       "/./::::::::::::\n");
  run({"/usr/bin/env", "LD_LIBRARY_PATH=" + Daemon::State::library_folder().string(),
       Daemon::State::unpacked("usr/bin/pure-pw").string(), "mkdb", state->file("users.pdb").string(), "-f",
       state->file("users").string()});
  std::vector<std::string> command{Daemon::State::unpacked("usr/sbin/pure-ftpd").string(),
                                   "--bind=" + state->host + "," + std::to_string(state->port.number),
                                   "--login=puredb:" + state->file("users.pdb").string(),
                                   "--pidfile=" + state->file("pid").string(),
                                   "--altlog=w3c:" + (state->logs / "transfers").string(),
                                   "--passiveportrange=" + kFirstDataPort + ":" + kLastDataPort,
                                   "--syslogfacility=none",
                                   "--noanonymous",
                                   "--chrooteveryone",
                                   "--dontresolve",
                                   "--allowdotfiles",
                                   "--minuid=1",
                                   "--limitrecursion=200000:50",
                                   "--maxclientsnumber=300",
                                   "--maxclientsperip=300",
                                   "--maxidletime=60"};
  if (options.tls == Tls::kExplicit) {
    state->make_certificate();
    write_text(state->file("both.pem"), bytes_of(state->file("key.pem")) + bytes_of(state->file("cert.pem")));
    command.push_back("--tls=1");
    command.push_back("--certfile=" + state->file("both.pem").string());
  }
  state->start(command, true);
  return Daemon{std::move(state)};
}

Daemon start_pyftpdlib(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("pyftpdlib", options);
  if (options.tls == Tls::kImplicit) throw std::invalid_argument{"pyftpdlib: implicit TLS is not for it"};
  const auto [uid, gid] = server_user();
  std::vector<std::string> command{"/usr/bin/python3",
                                   std::string{SERVERS_FOLDER} + "/pyftpdlib_server.py",
                                   state->host,
                                   std::to_string(state->port.number),
                                   kFirstDataPort,
                                   kLastDataPort,
                                   state->served.string(),
                                   std::to_string(uid),
                                   std::to_string(gid),
                                   kUser,
                                   kPassword};
  if (options.tls == Tls::kExplicit) {
    state->make_certificate();
    write_text(state->file("both.pem"), bytes_of(state->file("key.pem")) + bytes_of(state->file("cert.pem")));
    command.push_back(state->file("both.pem").string());
  }
  // What is unpacked is for the daemons; Python has its own libraries.
  state->variables["LD_LIBRARY_PATH"] = "";
  state->start(command, true);
  return Daemon{std::move(state)};
}

Daemon start_inetutils_ftpd(const DaemonOptions& options) {
  auto state = std::make_unique<Daemon::State>("inetutils-ftpd", options);
  state->need_root();
  if (options.tls != Tls::kNone) throw std::invalid_argument{"inetutils-ftpd knows no TLS"};
  state->add_system_user();
  // It keeps nobody in a folder: what is served lies where it lies on this machine.
  state->remote_root = state->served.string();
  state->start({"/usr/bin/python3", std::string{SERVERS_FOLDER} + "/inetd.py", state->host,
                std::to_string(state->port.number), Daemon::State::unpacked("usr/sbin/ftpd").string(),
                "--auth=pam", "--non-rfc2577"},
               true);
  return Daemon{std::move(state)};
}

}  // namespace servers
