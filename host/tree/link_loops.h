// A server's tree may hold links that lead back up, and nothing in a listing tells a link from a directory. A
// walk through such a tree would never end.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/tree/tree.h"

namespace ftp_host {

/// The directories that a walk is in, from its top down to the one at hand.
class WalkPath {
 public:
  /// Lists a directory further down; none when it cannot be listed.
  using ListPlace = std::function<std::optional<Listing>(const std::string& place)>;
  explicit WalkPath(ListPlace list) : list_{std::move(list)} {}

  /// Goes down into the directory at `place`, whose listing is `listing`. False, and nothing is changed, when
  /// `place` is a link to a directory above it, or when the walk is deeper than any sensible tree.
  ///
  /// It counts as such a link when two things hold for a directory above it: both listings are equal, entry
  /// by entry with sizes and times, and the path from that directory down to `place` can be appended again
  /// and again, and leads to an equal listing each time.
  [[nodiscard]] bool enter(const Listing& listing, const std::string& place);
  /// Leaves the directory that was entered last.
  void leave() { above_.pop_back(); }

 private:
  struct Level {
    std::string print, place;
  };
  [[nodiscard]] bool leads_back(const Level& above, const std::string& place, const Listing& listing) const;

  ListPlace list_;
  std::vector<Level> above_;
};

}  // namespace ftp_host
