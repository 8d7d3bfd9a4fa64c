#include "host/failure.h"

#include <cstring>

namespace ftp_host {

Failure local_failure(const std::string& text, int error) {
  char buffer[256];
  return Failure{ExitCode::local_file, text + ": " + strerror_r(error, buffer, sizeof buffer)};
}

std::string exit_code_table() {
  return "Exit codes:\n"
         "    0  done\n"
         "    1  another failure; the message names the plug-in's code\n"
         "    2  usage: wrong arguments\n"
         "    3  the server refused the login\n"
         "    4  the server was not reached\n"
         "    5  the remote file or directory does not exist\n"
         "    6  a local file could not be read or written\n"
         "  124  the time limit of an operation (--timeout) ran out\n"
         "  130  cancelled with Ctrl-C\n";
}

}  // namespace ftp_host
