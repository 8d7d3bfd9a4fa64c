#include "host/remote/directories.h"

namespace ftp_host {

std::string ensure_directory(Session& session, const std::string& directory, const std::string& name) {
  Entry made;
  const Outcome outcome = session.make_directory(directory, name, made);
  if (outcome.code == SUCCESS) return made.id;
  // Perhaps it is there already. The listing tells its id, which on a server without UTF-8 is not `name`.
  Listing listing;
  if (session.list(directory, listing).code == SUCCESS) {
    const Entry* const there = find_entry(listing, name);
    if (there != nullptr && there->directory) return there->id;
  }
  std::string id = join_path(directory, name);
  if (session.list(id, listing).code == SUCCESS) return id;
  throw session.failure(session.url_of(id), outcome);
}

void ensure_path(Session& session, const std::string& path) {
  if (is_root(path)) return;
  Listing listing;
  if (session.list(path, listing).code == SUCCESS) return;
  ensure_path(session, parent_path(path));
  (void)ensure_directory(session, parent_path(path), leaf_name(path));
}

}  // namespace ftp_host
