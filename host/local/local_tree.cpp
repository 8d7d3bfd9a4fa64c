#include "host/local/local_tree.h"

#include <algorithm>
#include <utility>

namespace ftp_host {
namespace {

struct LocalPlace {
  std::string directory, name;
};

LocalPlace split_place(const std::string& place) {
  const std::size_t slash = place.rfind('/');
  if (slash == std::string::npos) return {"", place};
  return {place.substr(0, slash), place.substr(slash + 1)};
}

}  // namespace

Entry as_entry(const LocalEntry& local, std::string place) {
  Entry entry;
  entry.name = local.name;
  entry.id = std::move(place);
  entry.directory = local.kind == LocalEntry::Kind::directory;
  entry.special = local.kind == LocalEntry::Kind::link || local.kind == LocalEntry::Kind::other;
  entry.size = entry.directory ? 0 : local.size;
  entry.time = local.time;
  return entry;
}

LocalDirectory LocalTree::open(const std::string& place) const {
  LocalDirectory directory = top_.again();
  std::size_t start = 0;
  while (start < place.size()) {
    const std::size_t slash = std::min(place.find('/', start), place.size());
    directory = directory.enter(place.substr(start, slash - start), false);
    start = slash + 1;
  }
  return directory;
}

Listing LocalTree::list(const std::string& place) {
  Listing listing;
  for (const LocalEntry& local : open(place).list()) {
    listing.entries.push_back(as_entry(local, path_below(place, local.name)));
  }
  return listing;
}

std::string LocalTree::make_directory(const std::string& place, const std::string& name) {
  (void)open(place).enter(name, true);
  return path_below(place, name);
}

void LocalTree::remove_file(const std::string& place) {
  const LocalPlace at = split_place(place);
  open(at.directory).remove_file(at.name);
}

void LocalTree::remove_directory(const std::string& place) {
  const LocalPlace at = split_place(place);
  open(at.directory).remove_directory(at.name);
}

void LocalTree::remove_temporary(const std::string& place) {
  const LocalPlace at = split_place(place);
  open(at.directory).remove_temporary(at.name);
}

}  // namespace ftp_host
