// Starts servers of the live tests for a person or a script, and ends them when its input ends:
//
//   test-servers FOLDER SERVER...
//
// Every server gets a copy of what is in FOLDER. One line for each, as they answer:
// NAME URL USER PASSWORD-FILE FOLDER, separated by tabs. Then "ready".
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/servers/daemons.h"

namespace {

using servers::Daemon;
using servers::Tls;

const std::map<std::string, std::function<Daemon()>> kServers = {
    {"proftpd", [] { return servers::start_proftpd(); }},
    {"proftpd-tls", [] { return servers::start_proftpd({.tls = Tls::kExplicit}); }},
    {"proftpd-implicit-tls", [] { return servers::start_proftpd({.tls = Tls::kImplicit}); }},
    {"proftpd-list-only", [] { return servers::start_proftpd({.machine_listing = false}); }},
    {"vsftpd", [] { return servers::start_vsftpd(); }},
    {"vsftpd-tls", [] { return servers::start_vsftpd({.tls = Tls::kExplicit}); }},
    {"vsftpd-implicit-tls", [] { return servers::start_vsftpd({.tls = Tls::kImplicit}); }},
    {"pure-ftpd", [] { return servers::start_pure_ftpd(); }},
    {"pyftpdlib", [] { return servers::start_pyftpdlib(); }},
    {"pyftpdlib-tls", [] { return servers::start_pyftpdlib({.tls = Tls::kExplicit}); }},
    {"inetutils-ftpd", [] { return servers::start_inetutils_ftpd(); }},
    {"proftpd-sftp", [] { return servers::start_proftpd_sftp(); }},
    {"pure-ftpd-tls", [] { return servers::start_pure_ftpd({.tls = Tls::kExplicit}); }},
};

int serve(const std::filesystem::path& content, const std::vector<std::string>& names) {
  std::vector<Daemon> running;
  for (const std::string& name : names) {
    const auto found = kServers.find(name);
    if (found == kServers.end()) {
      std::fprintf(stderr, "test-servers: no server is called %s; there are:\n", name.c_str());
      for (const auto& [known, start] : kServers) std::fprintf(stderr, "  %s\n", known.c_str());
      return 64;
    }
    running.push_back(found->second());
    Daemon& server = running.back();
    // Copying a tree keeps no times, and times are part of what is looked at.
    std::filesystem::copy(content, server.folder(), std::filesystem::copy_options::recursive);
    for (const auto& entry : std::filesystem::recursive_directory_iterator{content}) {
      std::filesystem::last_write_time(server.folder() / std::filesystem::relative(entry.path(), content),
                                       std::filesystem::last_write_time(entry.path()));
    }
    server.hand_over();
    const std::filesystem::path password = server.folder().parent_path() / "password";
    std::ofstream{password} << server.password() << "\n";
    std::printf("%s\t%s\t%s\t%s\t%s\n", name.c_str(), server.url().c_str(), server.user().c_str(),
                password.c_str(), server.folder().c_str());
    std::fflush(stdout);
  }
  std::printf("ready\n");
  std::fflush(stdout);
  char bytes[256];
  while (read(STDIN_FILENO, bytes, sizeof bytes) > 0) {
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::fprintf(stderr, "usage: test-servers FOLDER SERVER...\n");
    return 64;
  }
  try {
    return serve(arguments[1], {arguments + 2, arguments + count});
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "test-servers: %s\n", failure.what());
    return 1;
  }
}
