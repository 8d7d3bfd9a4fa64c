#include "host/tree/link_loops.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace ftp_host {
namespace {

constexpr std::size_t kDeepest = 200;
/// How often the path is appended. A server's system follows at most 40 links in one path, and the path may
/// hold several of them.
constexpr int kRounds = 12;
constexpr std::size_t kLongestPath = 1000;

/// A listing as text. Sizes and times belong to it, because directories with the same names in them are
/// common. Empty when there is no directory inside, since a loop needs one.
std::string fingerprint(const Listing& listing) {
  std::string text;
  bool directory = false;
  for (const Entry& entry : listing.entries) {
    directory = directory || entry.directory;
    text += fmt::format("{}/{}/{}/{}\n", entry.name, entry.directory, entry.size, entry.time.value_or(-1));
  }
  return directory ? text : "";
}

bool holds_directory(const Listing& listing, std::string_view name) {
  return std::any_of(listing.entries.begin(), listing.entries.end(),
                     [&](const Entry& entry) { return entry.directory && leaf_name(entry.id) == name; });
}

}  // namespace

bool WalkPath::leads_back(const Level& above, const std::string& place, const Listing& listing) const {
  // Equal listings alone prove nothing: "a/a/a", each holding nothing but the next, look alike as well. But
  // only a link can be followed again and again.
  std::string_view between = std::string_view{place}.substr(above.place.size());
  if (between.starts_with('/')) between.remove_prefix(1);
  std::string deep = place;
  for (int round = 0; round < kRounds && deep.size() + between.size() < kLongestPath; ++round) {
    deep.append("/").append(between);
  }
  if (const auto found = list_(deep); found && fingerprint(*found) == above.print) return true;

  // The listing of that deep path may fail for a loop, too: some servers follow only a few links in one path.
  // So take it step by step. A loop ends at a directory that its parent lists, and that cannot be read; a
  // real tree ends at a directory that lacks the next name, or holds something else.
  std::string here = place;
  Listing in = listing;
  for (int round = 0; round < kRounds; ++round) {
    for (std::string_view rest = between; !rest.empty();) {
      const std::string_view name = rest.substr(0, rest.find('/'));
      rest.remove_prefix(std::min(name.size() + 1, rest.size()));
      if (!holds_directory(in, name)) return false;
      here.append("/").append(name);
      std::optional<Listing> next = list_(here);
      if (!next) return true;
      in = std::move(*next);
    }
    if (fingerprint(in) != above.print) return false;
  }
  return true;
}

bool WalkPath::enter(const Listing& listing, const std::string& place) {
  if (above_.size() >= kDeepest) return false;
  std::string print = fingerprint(listing);
  for (const Level& above : above_) {
    if (!print.empty() && above.print == print && leads_back(above, place, listing)) return false;
  }
  above_.push_back({std::move(print), place});
  return true;
}

}  // namespace ftp_host
