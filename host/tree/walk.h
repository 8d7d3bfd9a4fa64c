// The one walk through a tree: listings, downloads, uploads and removals all go through directories here.
#pragma once

#include <optional>
#include <string>

#include "host/failure.h"
#include "host/tree/tree.h"

namespace ftp_host {

/// What is done with the directories and files that a walk meets. `path` is below the top of the walk, and
/// empty for the top itself. The calls come in this order, each directory's entries as they are listed:
///
///   enter(top)
///     wants(entry) -> file(entry)
///     wants(entry) -> enter(entry) -> ... -> leave(entry)
///   leave(top)
///
/// A Failure of any of these calls, or of a listing, is handed to failed(). Then the walk goes on with the
/// next entry.
class Visitor {
 public:
  Visitor() = default;
  virtual ~Visitor() = default;
  Visitor(const Visitor&) = delete;
  Visitor& operator=(const Visitor&) = delete;

  /// Whether the walk looks at `entry` at all. So far it is only known from the listing of its parent: what
  /// is listed as a directory may be a link to a file.
  [[nodiscard]] virtual bool wants(const std::string& path, const Entry& entry) = 0;
  /// A file, or a link to one.
  virtual void file(const std::string& path, const Entry& entry) = 0;
  /// A directory that holds `listing`. False leaves alone what is in it; leave() is not called then.
  [[nodiscard]] virtual bool enter(const std::string& path, const Entry& directory,
                                   const Listing& listing) = 0;
  /// All that is in the directory was gone through.
  virtual void leave(const std::string& path, const Entry& directory) = 0;
  /// `directory` is a link to a directory above it, or deeper than any sensible tree: it is not entered.
  virtual void leads_back(const std::string& path, const Entry& directory) = 0;
  /// To end the walk, throw the failure on.
  virtual void failed(const Failure& failure) = 0;
};

/// Whether links in the tree are followed, so that some may lead back up.
enum class Links { followed, not_followed };

/// Goes through the directory `top`, which holds `listing`; where that is none, it is listed.
void walk(Tree& tree, Links links, const Entry& top, std::optional<Listing> listing, Visitor& visitor);

}  // namespace ftp_host
