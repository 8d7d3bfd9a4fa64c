#include "host/tree/filter.h"

#include <fnmatch.h>

#include <algorithm>

namespace ftp_host {

bool matches(std::string pattern, const std::string& path, bool directory) {
  if (pattern.size() > 1 && pattern.ends_with('/')) {
    if (!directory) return false;
    pattern.pop_back();
  }
  if (pattern.find('/') == std::string::npos) {
    const std::string name = path.substr(path.rfind('/') + 1);
    return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
  }
  if (pattern.starts_with('/')) return fnmatch(pattern.c_str() + 1, path.c_str(), FNM_PATHNAME) == 0;
  for (std::size_t start = 0;; ++start) {
    if (fnmatch(pattern.c_str(), path.c_str() + start, FNM_PATHNAME) == 0) return true;
    start = path.find('/', start);
    if (start == std::string::npos) return false;
  }
}

Filter::Filter(std::vector<std::string> includes, std::vector<std::string> excludes)
    : includes_{std::move(includes)}, excludes_{std::move(excludes)} {}

bool Filter::takes(const std::string& path, bool directory) const {
  const auto any = [&](const std::vector<std::string>& patterns) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string& pattern) { return matches(pattern, path, directory); });
  };
  if (any(excludes_)) return false;
  return directory || includes_.empty() || any(includes_);
}

}  // namespace ftp_host
