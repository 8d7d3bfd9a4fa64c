// What the tests of the changing operations share: which connection comes next, a process locale, line
// breaks.
#pragma once

#include <array>
#include <string>

#include "tests/wire/wire_fixture.h"

namespace wire {

/// What would end a command and begin another one, as a host might find it in a name.
inline constexpr std::array kLineBreaks{
    "a\r\nDELE docs/a.txt", "a\nDELE docs/a.txt", "a\rDELE docs/a.txt", "a\n", "\r", "\n"};

class Changes : public Wire {
 protected:
  /// A record as the host fills it in: a name, and what the operation must not leave as it is.
  static _FS_FILE_V2 named(std::string name, std::uint32_t attr = FS_ATTR_FILE) {
    _FS_FILE_V2 file;
    file.name = std::move(name);
    file.attr = attr;
    return file;
  }

  /// The connection of the login serves the next operation as well.
  void expect_kept() {
    _FS_FILE_V2 file;
    EXPECT_EQ(protocol->GetFileInfo("/docs/my file.txt", &file, nullptr), SUCCESS);
    EXPECT_EQ(file.size, 5);
    EXPECT_EQ(server.connections_seen(), 1u);
  }
  /// Nobody is connected any more, and the next operation logs in again.
  void expect_dropped() {
    EXPECT_TRUE(server.wait_until_idle());
    _FS_FILE_V2 file;
    EXPECT_EQ(protocol->GetFileInfo("/docs/my file.txt", &file, nullptr), SUCCESS);
    EXPECT_EQ(file.size, 5);
    EXPECT_EQ(server.connections_seen(), 2u);
  }
};

}  // namespace wire
