// Directory trees of a server may hold links that lead back up, and nothing in a record tells a link.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/remote/session.h"

namespace ftp_host {

/// The listings on the way from the top of a walk down to the directory at hand.
class WalkPath {
 public:
  /// Lists a place further down; none when it cannot be listed.
  using ListPlace = std::function<std::optional<Listing>(const std::string& place)>;
  explicit WalkPath(ListPlace list) : list_{std::move(list)} {}

  /// Goes down into the directory at `place`; false, and nothing is changed, when a link leads from there
  /// back to a directory above it, or when the walk is deeper than any sensible tree. It is taken for such a
  /// link when its listing is that of a directory above it, entry by entry, and the way between the two can
  /// be gone over and over again.
  [[nodiscard]] bool enter(const Listing& listing, const std::string& place);
  void leave() { above_.pop_back(); }

 private:
  struct Level {
    std::string print, place;
  };
  [[nodiscard]] bool leads_back(const Level& above, const std::string& place, const Listing& listing) const;

  ListPlace list_;
  std::vector<Level> above_;
};

[[nodiscard]] WalkPath::ListPlace list_of(Session& session);

/// Leaves the directory that was entered last when the walk through it ends, however it ends.
class WalkGuard {
 public:
  explicit WalkGuard(WalkPath& path) : path_{path} {}
  ~WalkGuard() { path_.leave(); }
  WalkGuard(const WalkGuard&) = delete;
  WalkGuard& operator=(const WalkGuard&) = delete;

 private:
  WalkPath& path_;
};

}  // namespace ftp_host
