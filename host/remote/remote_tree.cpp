#include "host/remote/remote_tree.h"

#include "host/remote/directories.h"

namespace ftp_host {

Listing RemoteTree::list(const std::string& place) {
  Listing listing;
  session_.require(session_.list(place, listing), place);
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
  session_.require(session_.remove_file(place), place);
}

void RemoteTree::remove_directory(const std::string& place) {
  session_.require(session_.remove_directory(place), place);
}

bool RemoteTree::remove_link(const std::string& place) {
  // Nothing in a listing tells a link from a directory. But a server removes a link as it removes a file, and
  // refuses to remove a directory that way.
  return session_.remove_file(place).code == SUCCESS;
}

}  // namespace ftp_host
