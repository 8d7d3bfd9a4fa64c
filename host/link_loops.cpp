#include "host/link_loops.h"

#include <fmt/format.h>

#include <algorithm>

namespace ftp_host {
namespace {

constexpr std::size_t kDeepest = 200;

/// Sizes and times belong to it: two directories that hold the same names are common. Empty without a
/// directory inside, since a loop needs one.
std::string fingerprint(const Listing& listing) {
  std::string text;
  bool directory = false;
  for (const Entry& entry : listing.entries) {
    directory = directory || entry.directory;
    text += fmt::format("{}/{}/{}/{}\n", entry.name, entry.directory, entry.size, entry.time.value_or(-1));
  }
  return directory ? text : "";
}

}  // namespace

bool WalkPath::enter(const Listing& listing) {
  std::string print = fingerprint(listing);
  if (above_.size() >= kDeepest) return false;
  if (!print.empty() && std::find(above_.begin(), above_.end(), print) != above_.end()) return false;
  above_.push_back(std::move(print));
  return true;
}

}  // namespace ftp_host
