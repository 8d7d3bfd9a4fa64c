// Which entries of a tree take part: include and exclude patterns.
#pragma once

#include <string>
#include <vector>

namespace ftp_host {

/// Shell patterns (*, ?, [a-z]). One without a slash is matched against the entry's name; one with a slash
/// against its path below the top, from the top ("/x") or at any depth ("a/x"), and its "*" stays within one
/// component. A slash at the end means directories only.
///
/// What matches an exclude pattern is left out, with everything below it. Where there are include patterns, a
/// file must match one of them as well. Include patterns do
/// not keep a walk out of directories.
class Filter {
 public:
  Filter() = default;
  Filter(std::vector<std::string> includes, std::vector<std::string> excludes);

  /// `path` below the top, without a leading slash.
  [[nodiscard]] bool takes(const std::string& path, bool directory) const;
  [[nodiscard]] bool has_includes() const noexcept { return !includes_.empty(); }

 private:
  std::vector<std::string> includes_, excludes_;
};

/// Whether `pattern` means the entry at `path`.
[[nodiscard]] bool matches(std::string pattern, const std::string& path, bool directory);

}  // namespace ftp_host
