// One script that a server is put through, whatever it is and over whatever connection: log in, list, look
// up, read, upload, rename, move, create, delete, set a time, and once more after a pause. Every outcome is
// compared with the server's disk.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"

namespace live {

/// A server as the script sees it.
struct Target {
  std::string url;
  std::string user;
  std::string password;
  std::filesystem::path folder;     ///< what the URL names, on the disk
  std::function<void()> hand_over;  ///< gives everything below `folder` to the server's user
  fakes::FormEntries login = {};    ///< further login fields
  fakes::FormEntries options = {};  ///< option fields, the proxy among them
  /// A private key that the host's user keeps where SSH looks for it; used when the password is refused.
  std::filesystem::path own_key = {};
};

/// Heads of the steps, in order.
[[nodiscard]] std::vector<std::string> step_names();

/// Runs the script in a child process and answers one text for each step: "yes", or what is different. A step
/// that takes longer than `limit_seconds` (the login: a minute) is "hangs", and those behind it are "-", as
/// they are when the login fails.
[[nodiscard]] std::vector<std::string> run_script(const Target& target, int limit_seconds);

}  // namespace live
