// The command line: what the user asks for, checked as far as the text alone can be.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/remote/connect_options.h"

namespace ftp_host {

/// The largest number of seconds that an option takes: thirty years. Clocks count nanoseconds, and those of a
/// much longer time do not fit their number.
inline constexpr long kLongestSeconds = 1'000'000'000;

/// Bytes `first` to `last`, both included. Without `last`: from `first` to the end. Without `first`: as many
/// bytes as `last` says, at the end of the file.
struct ByteRange {
  std::optional<std::int64_t> first, last;
};

/// "A-B", "A-" or "-N". Throws a Failure (usage).
[[nodiscard]] ByteRange parse_range(const std::string& text);

/// The part of a file of `size` bytes that `range` means.
struct Extent {
  std::int64_t offset = 0;
  std::int64_t length = 0;
};
[[nodiscard]] Extent resolve_range(const ByteRange& range, std::int64_t size);

struct Arguments {
  std::string verb;
  std::vector<std::string> operands;

  bool json = false;
  bool quiet = false;
  int verbosity = 0;
  std::string trace_file;
  std::string plugin_file;
  std::chrono::seconds timeout{300};

  ConnectOptions connect;
  bool password_stdin = false;

  bool long_form = false;
  bool recursive = false;
  std::optional<ByteRange> range;
  bool resume = false;
  bool parents = false;
  std::string time = "now";

  bool remove = false;
  bool dry_run = false;
  unsigned parallel = 2;  ///< files at a time
  std::vector<std::string> includes, excludes;
  std::int64_t modify_window = 0;  ///< seconds
};

/// The result of parsing: arguments to act on, or a text to print and an exit code.
struct Parsed {
  std::optional<Arguments> arguments;
  std::string text;
  int exit_code = 0;
};

[[nodiscard]] Parsed parse_arguments(int count, const char* const* values);

}  // namespace ftp_host
