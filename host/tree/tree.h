// A tree of files, on this machine or on a server: what its entries are, and what can be done with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ftp_host {

/// One file or directory.
struct Entry {
  std::string name;  ///< as shown and stored locally, UTF-8
  /// Its place. Remote: the path that the plug-in is given, its last component in the server's own bytes.
  /// Local: the path below the top of the tree.
  std::string id;
  bool directory = false;
  bool special = false;             ///< local only: neither file nor directory, such as a link
  std::int64_t size = 0;            ///< bytes, files only; -1 when the server does not tell
  std::optional<std::time_t> time;  ///< last modification
};

/// Entries whose names can be used, each name once and in byte order; `hostile` counts those that were
/// dropped although they are not "." or "..".
struct Listing {
  std::vector<Entry> entries;
  std::size_t hostile = 0;
};

/// A place is how a tree addresses a directory or file: Entry::id. Every function throws a Failure when it
/// does not succeed; several threads may use one tree.
class Tree {
 public:
  Tree() = default;
  virtual ~Tree() = default;
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  /// The place of the tree's own top.
  [[nodiscard]] virtual std::string top() const = 0;
  [[nodiscard]] virtual Listing list(const std::string& place) = 0;
  /// The entry `name` of the directory `place`, also where servers keep it out of their listings; none when
  /// it is not there.
  [[nodiscard]] virtual std::optional<Entry> find_hidden(const std::string& place, const std::string& name,
                                                         bool directory) = 0;
  /// The file at `place`, which is listed as a directory but cannot be listed itself: a link to a file. None
  /// when there is no file.
  [[nodiscard]] virtual std::optional<Entry> as_file(const std::string& place) = 0;
  /// Makes the directory `name` in `place` unless it is there; returns its place.
  [[nodiscard]] virtual std::string make_directory(const std::string& place, const std::string& name) = 0;
  virtual void remove_file(const std::string& place) = 0;
  virtual void remove_directory(const std::string& place) = 0;
  /// Removes `place`, listed as a directory, when it is a link; false when it is none.
  [[nodiscard]] virtual bool remove_link(const std::string& place) = 0;
  /// Removes a temporary file of an interrupted run, unless another run is using it.
  virtual void remove_temporary(const std::string& place) = 0;
};

/// "a/b" of "a" and "b"; "b" at the top, whose path is empty.
[[nodiscard]] std::string path_below(std::string_view path, std::string_view name);
/// The last component of a path or place; empty for a root.
[[nodiscard]] std::string leaf_name(std::string_view path);

/// The entry of `listing` with this name; null when there is none.
[[nodiscard]] const Entry* find_entry(const Listing& listing, std::string_view name);

/// Lists the directory `entry`. Servers list links among the directories: where `entry` turns out to be a
/// file, nothing is returned, and `entry` becomes that file under its own name.
[[nodiscard]] std::optional<Listing> list_or_resolve(Tree& tree, Entry& entry);

}  // namespace ftp_host
