// Directory trees of a server may hold links that lead back up, and nothing in a record tells a link.
#pragma once

#include <string>
#include <vector>

#include "host/session.h"

namespace ftp_host {

/// The listings on the way from the top of a walk down to the directory at hand.
class WalkPath {
 public:
  /// Goes down into a directory; false, and nothing is changed, when its listing is that of a directory above
  /// it, entry by entry, or when the walk is deeper than any sensible tree.
  [[nodiscard]] bool enter(const Listing& listing);
  void leave() { above_.pop_back(); }

 private:
  std::vector<std::string> above_;
};

}  // namespace ftp_host
