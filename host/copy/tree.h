// The two ends of a synchronisation: a directory tree on this machine, and one on a server.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/local/filter.h"
#include "host/local/local_files.h"
#include "host/remote/session.h"

namespace ftp_host {

/// A tree of files. A place is how it addresses a directory or file: Entry::id. Every function throws a
/// Failure; several threads may use one tree.
class Tree {
 public:
  virtual ~Tree() = default;
  /// The place of the tree's own top.
  [[nodiscard]] virtual std::string top() const = 0;
  [[nodiscard]] virtual Listing list(const std::string& place) = 0;
  /// An entry that `list` may have left out, because servers hide it.
  [[nodiscard]] virtual std::optional<Entry> find_hidden(const std::string& place, const std::string& name,
                                                         bool directory) = 0;
  /// The file behind `place`, which is listed as a directory but cannot be read as one; none when it is no
  /// file.
  [[nodiscard]] virtual std::optional<Entry> as_file(const std::string& place) = 0;
  /// Makes the directory `name` in `place` unless it is there; its place.
  virtual std::string make_directory(const std::string& place, const std::string& name) = 0;
  virtual void remove_file(const std::string& place) = 0;
  virtual void remove_directory(const std::string& place) = 0;
  /// Removes `place`, listed as a directory, when it is a link; false when it is none.
  [[nodiscard]] virtual bool remove_link(const std::string& place) = 0;
  /// Removes a temporary file of an interrupted run, unless another run is using it.
  virtual void remove_temporary(const std::string& place) = 0;
};

class LocalTree final : public Tree {
 public:
  explicit LocalTree(LocalDirectory root) : root_{std::move(root)} {}
  [[nodiscard]] std::string top() const override { return ""; }
  [[nodiscard]] Listing list(const std::string& place) override;
  [[nodiscard]] std::optional<Entry> find_hidden(const std::string&, const std::string&, bool) override {
    return std::nullopt;
  }
  [[nodiscard]] std::optional<Entry> as_file(const std::string&) override { return std::nullopt; }
  std::string make_directory(const std::string& place, const std::string& name) override;
  void remove_file(const std::string& place) override;
  void remove_directory(const std::string& place) override;
  [[nodiscard]] bool remove_link(const std::string&) override {
    return false;
  }  // never listed as a directory
  void remove_temporary(const std::string& place) override;

  /// The directory at `place`, entered name by name and never through a link.
  [[nodiscard]] LocalDirectory open(const std::string& place) const;

 private:
  LocalDirectory root_;
};

class RemoteTree final : public Tree {
 public:
  RemoteTree(Session& session, std::string top) : session_{session}, top_{std::move(top)} {}
  [[nodiscard]] std::string top() const override { return top_; }
  [[nodiscard]] Listing list(const std::string& place) override;
  [[nodiscard]] std::optional<Entry> find_hidden(const std::string& place, const std::string& name,
                                                 bool directory) override;
  [[nodiscard]] std::optional<Entry> as_file(const std::string& place) override;
  std::string make_directory(const std::string& place, const std::string& name) override;
  void remove_file(const std::string& place) override;
  void remove_directory(const std::string& place) override;
  [[nodiscard]] bool remove_link(const std::string& place) override;
  void remove_temporary(const std::string& place) override { remove_file(place); }

 private:
  Session& session_;
  std::string top_;
};

/// Something that is gone: its path below the top, and whether it was a directory.
struct Removal {
  std::string path;
  bool directory = false;
  bool operator==(const Removal&) const = default;
};
using Removals = std::vector<Removal>;

/// Removes the directory at `place`, which lies at `path` below the top, with everything in it that `filter`
/// takes. A directory in which something stays, stays. On a server a link to a directory looks like one: it
/// is removed itself, and what it leads to is left alone.
/// `removed` gets what is gone, also in front of a failure: a whole directory once, without what was in it.
void remove_tree(Tree& tree, const std::string& place, const std::string& path, const Filter& filter,
                 Removals& removed);

/// "a/b" of "a" and "b"; "b" at the top.
[[nodiscard]] std::string path_below(const std::string& path, const std::string& name);

}  // namespace ftp_host
