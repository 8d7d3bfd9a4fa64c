// The servers of the tests at the edges: FTP and SFTP alike, each in a time zone of the test's choice.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/live/session.h"

namespace live {

/// A running server, whatever its kind.
struct Place {
  std::shared_ptr<void> owner;
  std::string url;
  std::string user;
  std::string password;
  std::filesystem::path folder;     ///< what the URL names, on the disk
  std::function<void()> hand_over;  ///< gives everything below `folder` to the server's user

  [[nodiscard]] Session log_in() const { return Session{url, user, password}; }
};

/// What of a link the facts of a machine listing tell.
enum class LinkFacts {
  kNone,       ///< there are no such facts: SFTP, or a server that knows LIST only
  kReachable,  ///< that it is a link; those that lead nowhere are left out by the server
  kFollowed,   ///< those of the target; links that lead nowhere are left out by the server
  kAll,        ///< that it is a link, of every link
};

struct Site {
  const char* label;
  bool sftp;
  LinkFacts facts;
  bool lists_own_clock;  ///< LIST shows the wall clock of the server's zone; the others show UTC
  std::function<Place(const std::string& zone)> open;

  /// A path with a bracket is always listed with LIST.
  [[nodiscard]] bool has_facts_of(const std::string& path) const {
    return facts != LinkFacts::kNone && path.find('[') == std::string::npos;
  }
};
inline void PrintTo(const Site& site, std::ostream* out) { *out << site.label; }

[[nodiscard]] std::vector<Site> sites();
[[nodiscard]] std::vector<Site> one_site_of_each_protocol();

inline const auto label_of = [](const auto& row) { return std::string{row.param.label}; };

}  // namespace live
