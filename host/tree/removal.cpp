#include "host/tree/removal.h"

#include "host/tree/walk.h"

namespace ftp_host {
namespace {

/// Removes files as the walk meets them, and each directory when the walk leaves it.
class Remover final : public Visitor {
 public:
  Remover(Tree& tree, std::string base, const Filter& filter, Removals& removed)
      : tree_{tree}, base_{std::move(base)}, filter_{filter}, removed_{removed} {}

  bool wants(const std::string& path, const Entry& entry) override {
    const std::string below = path_below(base_, path);
    if (!filter_.takes(below, entry.directory)) {
      levels_.back().all = false;
      return false;
    }
    if (!entry.directory || !tree_.remove_link(entry.id)) return true;
    removed_.push_back({below, true});
    return false;
  }

  void file(const std::string& path, const Entry& entry) override {
    tree_.remove_file(entry.id);
    removed_.push_back({path_below(base_, path), false});
  }

  bool enter(const std::string&, const Entry&, const Listing&) override {
    levels_.push_back({removed_.size(), true});
    return true;
  }

  void leave(const std::string& path, const Entry& directory) override {
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.all) {
      if (!levels_.empty()) levels_.back().all = false;
      return;
    }
    tree_.remove_directory(directory.id);
    removed_.resize(level.removed_before);
    removed_.push_back({path.empty() ? base_ : path_below(base_, path), true});
  }

  void leads_back(const std::string&, const Entry&) override {}
  void failed(const Failure& failure) override { throw Failure{failure}; }

 private:
  /// A directory under way.
  struct Level {
    std::size_t removed_before;
    bool all;  ///< nothing in it stays
  };

  Tree& tree_;
  std::string base_;
  const Filter& filter_;
  Removals& removed_;
  std::vector<Level> levels_;
};

}  // namespace

void remove_tree(Tree& tree, const std::string& place, const std::string& path, const Filter& filter,
                 Removals& removed) {
  if (tree.remove_link(place)) {
    removed.push_back({path, true});
    return;
  }
  Entry top;
  top.id = place;
  top.directory = true;
  Remover remover{tree, path, filter, removed};
  // Links are removed before they could be followed.
  walk(tree, Links::not_followed, top, std::nullopt, remover);
}

}  // namespace ftp_host
