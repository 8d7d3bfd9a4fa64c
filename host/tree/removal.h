// Removes a directory with what is in it.
#pragma once

#include <string>
#include <vector>

#include "host/tree/filter.h"
#include "host/tree/tree.h"

namespace ftp_host {

/// Something that is gone: its path below the top, and whether it was a directory.
struct Removal {
  std::string path;
  bool directory = false;
  bool operator==(const Removal&) const = default;
};
using Removals = std::vector<Removal>;

/// Removes the directory at `place`, which lies at `path` below the top, with everything in it that `filter`
/// takes. A directory in which something stays, stays. On a server a link to a directory looks like one: the
/// link is removed, and what it leads to is left alone.
/// `removed` gets what is gone, also when a Failure is thrown. A directory that went as a whole is one entry.
void remove_tree(Tree& tree, const std::string& place, const std::string& path, const Filter& filter,
                 Removals& removed);

}  // namespace ftp_host
