#include "host/tree/walk.h"

#include <utility>

#include "host/tree/link_loops.h"

namespace ftp_host {
namespace {

class Walk {
 public:
  Walk(Tree& tree, Links links, Visitor& visitor) : tree_{tree}, links_{links}, visitor_{visitor} {}

  void directory(const std::string& path, const Entry& directory, const Listing& listing) {
    if (links_ == Links::followed && !path_.enter(listing, directory.id)) {
      visitor_.leads_back(path, directory);
      return;
    }
    const Guard inside{*this};
    if (!visitor_.enter(path, directory, listing)) return;
    for (const Entry& entry : listing.entries) {
      guarded([&] { this->entry(path_below(path, entry.name), entry); });
    }
    visitor_.leave(path, directory);
  }

  template <class Step>
  void guarded(Step&& step) {
    if (const auto failure = failure_of(std::forward<Step>(step))) visitor_.failed(*failure);
  }

 private:
  /// Leaves the directory that was entered last, however the walk through it ends.
  struct Guard {
    explicit Guard(Walk& walk) : walk_{walk} {}
    ~Guard() {
      if (walk_.links_ == Links::followed) walk_.path_.leave();
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    Walk& walk_;
  };

  void entry(const std::string& path, Entry entry) {
    if (!visitor_.wants(path, entry)) return;
    if (entry.directory) {
      if (const auto listing = list_or_resolve(tree_, entry)) {
        directory(path, entry, *listing);
        return;
      }
    }
    visitor_.file(path, entry);
  }

  Tree& tree_;
  Links links_;
  Visitor& visitor_;
  WalkPath path_{[this](const std::string& place) {
    std::optional<Listing> listing;
    (void)failure_of([&] { listing = tree_.list(place); });
    return listing;
  }};
};

}  // namespace

void walk(Tree& tree, Links links, const Entry& top, std::optional<Listing> listing, Visitor& visitor) {
  Walk walk{tree, links, visitor};
  walk.guarded([&] { walk.directory("", top, listing ? *listing : tree.list(top.id)); });
}

}  // namespace ftp_host
