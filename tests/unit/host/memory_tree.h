// A tree of files for tests, without disk and without server.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/failure.h"
#include "host/tree/tree.h"

namespace ftp_host {

inline Entry make_file(const std::string& name, std::int64_t size, std::optional<std::time_t> time) {
  Entry entry;
  entry.name = name;
  entry.size = size;
  entry.time = time;
  return entry;
}

/// A tree in memory: "a/" is a directory, "a/f" a file of 5 bytes at time 100 unless told otherwise.
class MemoryTree : public Tree {
 public:
  explicit MemoryTree(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) add(path);
  }
  void add(std::string path, std::int64_t size = 5, std::time_t time = 100) {
    Entry entry = make_file("", size, time);
    if (path.ends_with('/')) {
      path.pop_back();
      entry.directory = true;
    }
    entry.id = path;
    entry.name = path.substr(path.rfind('/') + 1);
    entries_[path] = entry;
  }
  Entry& at(const std::string& path) { return entries_.at(path); }

  std::string top() const override { return ""; }
  Listing list(const std::string& place) override {
    if (unreadable.count(place) > 0) throw Failure{ExitCode::other, place};
    Listing listing;
    for (const auto& [path, entry] : entries_) {
      if (hidden.count(path) > 0) continue;
      const std::size_t slash = path.rfind('/');
      if ((slash == std::string::npos ? "" : path.substr(0, slash)) == place)
        listing.entries.push_back(entry);
    }
    return listing;
  }
  std::optional<Entry> find_hidden(const std::string& place, const std::string& name,
                                   bool directory) override {
    const auto found = entries_.find(path_below(place, name));
    if (found == entries_.end() || found->second.directory != directory) return std::nullopt;
    return found->second;
  }
  std::optional<Entry> as_file(const std::string& place) override {
    const auto found = file_links.find(place);
    if (found == file_links.end()) return std::nullopt;
    return found->second;
  }
  std::string make_directory(const std::string& place, const std::string& name) override {
    return path_below(place, name);
  }
  void remove_file(const std::string& place) override { removed.push_back(place); }
  void remove_directory(const std::string& place) override { removed.push_back(place + "/"); }
  bool remove_link(const std::string& place) override { return links.count(place) > 0; }
  void remove_temporary(const std::string& place) override { removed.push_back(place); }

  std::set<std::string> unreadable, hidden, links;
  std::map<std::string, Entry> file_links;
  std::vector<std::string> removed;

 private:
  std::map<std::string, Entry> entries_;
};

}  // namespace ftp_host
