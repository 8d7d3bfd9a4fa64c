#include "host/tree/tree.h"

#include <algorithm>

#include "host/failure.h"

namespace ftp_host {

std::string path_below(std::string_view path, std::string_view name) {
  std::string out{path};
  if (!out.empty()) out.push_back('/');
  return out.append(name);
}

std::string leaf_name(std::string_view path) { return std::string{path.substr(path.rfind('/') + 1)}; }

const Entry* find_entry(const Listing& listing, std::string_view name) {
  const auto found = std::find_if(listing.entries.begin(), listing.entries.end(),
                                  [&](const Entry& entry) { return entry.name == name; });
  return found == listing.entries.end() ? nullptr : &*found;
}

std::optional<Listing> list_or_resolve(Tree& tree, Entry& entry) {
  Listing listing;
  const std::optional<Failure> unlisted = failure_of([&] { listing = tree.list(entry.id); });
  if (!unlisted) return listing;
  std::optional<Entry> file = tree.as_file(entry.id);
  if (!file) throw Failure{*unlisted};
  file->name = entry.name;
  entry = *std::move(file);
  return std::nullopt;
}

}  // namespace ftp_host
