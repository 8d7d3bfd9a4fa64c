#include "host/copy/tree.h"

#include <algorithm>

#include "host/copy/upload.h"
#include "host/failure.h"

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

std::string path_below(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + "/" + name;
}

LocalDirectory LocalTree::open(const std::string& place) const {
  LocalDirectory directory = root_.again();
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
    Entry entry;
    entry.name = local.name;
    entry.id = path_below(place, local.name);
    entry.directory = local.kind == LocalEntry::Kind::directory;
    entry.special = local.kind == LocalEntry::Kind::link || local.kind == LocalEntry::Kind::other;
    entry.size = entry.directory ? 0 : local.size;
    entry.time = local.time;
    listing.entries.push_back(std::move(entry));
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

Listing RemoteTree::list(const std::string& place) {
  Listing listing;
  const Outcome outcome = session_.list(place, listing);
  if (outcome.code != SUCCESS) throw session_.failure(session_.url_of(place), outcome);
  return listing;
}

std::optional<Entry> RemoteTree::find_hidden(const std::string& place, const std::string& name,
                                             bool directory) {
  Entry entry;
  const std::string id = join_path(place, name);
  if (!directory) {
    if (session_.file_info(id, entry).code != SUCCESS) return std::nullopt;
    return entry;
  }
  Listing listing;
  if (session_.list(id, listing).code != SUCCESS) return std::nullopt;
  entry.name = name;
  entry.id = id;
  entry.directory = true;
  return entry;
}

std::optional<Entry> RemoteTree::as_file(const std::string& place) {
  Entry entry;
  if (session_.file_info(place, entry).code != SUCCESS || entry.directory) return std::nullopt;
  return entry;
}

std::string RemoteTree::make_directory(const std::string& place, const std::string& name) {
  return ensure_directory(session_, place, name);
}

void RemoteTree::remove_file(const std::string& place) {
  const Outcome outcome = session_.remove_file(place);
  if (outcome.code != SUCCESS) throw session_.failure(session_.url_of(place), outcome);
}

void RemoteTree::remove_directory(const std::string& place) {
  const Outcome outcome = session_.remove_directory(place);
  if (outcome.code != SUCCESS) throw session_.failure(session_.url_of(place), outcome);
}

bool RemoteTree::remove_link(const std::string& place) {
  // A server removes a link as a file, and refuses to remove a directory so. Nothing in a listing tells them
  // apart.
  return session_.remove_file(place).code == SUCCESS;
}

namespace {

/// False when something in it stays.
bool remove_below(Tree& tree, const std::string& place, const std::string& path, const Filter& filter,
                  Removals& removed) {
  const std::size_t before = removed.size();
  bool all = true;
  if (!tree.remove_link(place)) {
    for (const Entry& entry : tree.list(place).entries) {
      const std::string below = path_below(path, entry.name);
      if (!filter.takes(below, entry.directory)) {
        all = false;
      } else if (entry.directory) {
        all = remove_below(tree, entry.id, below, filter, removed) && all;
      } else {
        tree.remove_file(entry.id);
        removed.push_back({below, false});
      }
    }
    if (all) tree.remove_directory(place);
  }
  if (all) {
    removed.resize(before);
    removed.push_back({path, true});
  }
  return all;
}

}  // namespace

void remove_tree(Tree& tree, const std::string& place, const std::string& path, const Filter& filter,
                 Removals& removed) {
  (void)remove_below(tree, place, path, filter, removed);
}

}  // namespace ftp_host
