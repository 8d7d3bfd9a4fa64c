#include "host/remote/look_up.h"

#include <algorithm>

namespace ftp_host {
namespace {

Entry directory_entry(const std::string& id) {
  Entry entry;
  entry.name = leaf_name(id);
  entry.id = id;
  entry.directory = true;
  return entry;
}

/// Asks for `id` itself, not for the listing of its parent. `last` becomes the outcome of the last question.
std::optional<Entry> ask_directly(Session& session, const std::string& id, Outcome& last) {
  Entry entry;
  if (session.file_info(id, entry).code == SUCCESS) return entry;
  Listing listing;
  last = session.list(id, listing);
  if (last.code == SUCCESS) return directory_entry(id);
  return std::nullopt;
}

}  // namespace

std::optional<Entry> look_up(Session& session, const std::string& id) {
  if (is_root(id)) {
    Listing listing;
    session.require(session.list(id, listing), id);
    return directory_entry(id);
  }
  const std::string parent = parent_path(id);
  const std::string leaf = leaf_name(id);
  Listing listing;
  Outcome outcome = session.list(parent, listing);
  if (outcome.code == SUCCESS) {
    const auto found = std::find_if(listing.entries.begin(), listing.entries.end(),
                                    [&](const Entry& entry) { return entry.name == leaf || entry.id == id; });
    if (found != listing.entries.end()) return *found;
    // Some servers do not list names with a leading dot, or list an unreadable directory as empty.
    if (leaf.starts_with('.') || listing.entries.empty()) return ask_directly(session, id, outcome);
    return std::nullopt;
  }
  if (auto entry = ask_directly(session, id, outcome)) return entry;
  // When the parent does not exist either, `id` does not. When the parent cannot be read, nobody knows.
  if (!is_root(parent) && !look_up(session, parent)) return std::nullopt;
  throw session.failure(session.url_of(id), outcome);
}

Entry must_look_up(Session& session, const std::string& id) {
  if (auto entry = look_up(session, id)) return *entry;
  throw session.not_found(id);
}

Entry exact_file(Session& session, const Entry& entry) {
  Entry exact;
  session.require(session.file_info(entry.id, exact), entry.id);
  exact.name = entry.name;
  if (!exact.time) exact.time = entry.time;
  return exact;
}

Entry settled_file(Session& session, const Entry& entry) {
  Entry exact = exact_file(session, entry);
  if (exact.time && session.operations().wait_beyond(*exact.time)) exact = exact_file(session, entry);
  return exact;
}

}  // namespace ftp_host
