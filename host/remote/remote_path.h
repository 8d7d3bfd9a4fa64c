// Remote URLs and remote paths.
//
// A remote path is how the tool names an entry to the plug-in: "/" is the directory that the login leads to,
// "/a/b" lies below it; on FTP "//a" is an absolute path of the server. The server part of a URL and the
// path are kept apart, so that one login serves any number of paths.
#pragma once

#include <string>
#include <string_view>

namespace ftp_host {

struct RemoteUrl {
  std::string scheme;      ///< "ftp", "ftps" or "sftp"
  std::string server;      ///< host, or host:port
  std::string user;        ///< from the URL, percent-decoded; empty when there is none
  std::string path;        ///< remote path, percent-decoded and tidied
  bool directory = false;  ///< the URL ended in "/": the user means a directory

  /// What the plug-in is given as the server: no user, no path, no password.
  [[nodiscard]] std::string root() const { return scheme + "://" + server; }
  /// For messages: the root and the path.
  [[nodiscard]] std::string text() const;
};

[[nodiscard]] bool is_remote_url(std::string_view text);

/// Takes `text` apart. Throws a Failure (usage) for another scheme, an empty host, a wrong escape, a zero
/// byte, and for a password: an argument is visible to every user of the machine.
[[nodiscard]] RemoteUrl parse_remote_url(std::string_view text);

/// "%41" becomes "A". Throws a Failure (usage) for an escape without two digits and for %00.
[[nodiscard]] std::string percent_decode(std::string_view text);

/// Without ".", "..", repeated and trailing slashes; begins with "/". A leading "//" stays where `absolute`.
[[nodiscard]] std::string tidy_path(std::string_view path, bool absolute);

[[nodiscard]] std::string join_path(std::string_view directory, std::string_view name);
/// The directory that holds `path`; a root is its own parent.
[[nodiscard]] std::string parent_path(std::string_view path);
[[nodiscard]] inline bool is_root(std::string_view path) { return path == "/" || path == "//"; }

}  // namespace ftp_host
