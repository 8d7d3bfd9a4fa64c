// The disk of a server, which tells what an operation really did.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace servers {

/// The bytes of a file; none when there is no such file.
[[nodiscard]] inline std::string bytes_of(const std::filesystem::path& path) {
  std::ifstream file{path, std::ios::binary};
  return {std::istreambuf_iterator<char>{file}, {}};
}

/// Creates or replaces a file in a folder that is there; throws std::runtime_error when it cannot.
inline void write_file(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file{path, std::ios::binary};
  file << bytes;
  if (!file.flush()) throw std::runtime_error{"cannot write " + path.string()};
}

/// Sets both times of a file, of a link its own; throws std::system_error when it cannot.
inline void set_time(const std::filesystem::path& path, std::time_t seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  if (::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) {
    throw std::system_error{errno, std::generic_category(), "utimensat " + path.string()};
  }
}

}  // namespace servers
