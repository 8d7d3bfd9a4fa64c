// The files of the scripted server: a small tree in memory, addressed by absolute paths ("/docs/a.txt").
// Names are bytes; nothing is converted. Not locked: the server guards it.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace fakes {

class FileTree {
 public:
  struct Node {
    bool directory = false;
    std::shared_ptr<const std::string> bytes;  ///< null for a directory
    std::string modified;                      ///< UTC, YYYYMMDDhhmmss
  };

  FileTree();

  /// `argument` as a command gives it, seen from the directory `from`; "." and ".." are resolved.
  [[nodiscard]] static std::string resolve(std::string_view from, std::string_view argument);

  /// Null when there is nothing of that name.
  [[nodiscard]] const Node* find(const std::string& path) const;

  /// Both create the missing parents.
  void add_directory(const std::string& path, std::string modified);
  void add_file(const std::string& path, std::string bytes, std::string modified);

  /// What the commands do; false refuses, as a server would.
  bool make_directory(const std::string& path);
  bool remove_directory(const std::string& path);
  bool remove_file(const std::string& path);
  bool move(const std::string& from, const std::string& to);
  bool set_modified(const std::string& path, std::string modified);

  /// Replaces what LIST or MLSD of `path` sends, byte for byte.
  void set_list(const std::string& path, std::string raw) { raw_list_[path] = std::move(raw); }
  void set_mlsd(const std::string& path, std::string raw) { raw_mlsd_[path] = std::move(raw); }

  /// The body of LIST (a file lists itself) or MLSD; nothing when `path` does not exist.
  [[nodiscard]] std::optional<std::string> list(const std::string& path) const;
  [[nodiscard]] std::optional<std::string> mlsd(const std::string& path) const;

 private:
  [[nodiscard]] bool has_children(const std::string& path) const;

  std::map<std::string, Node> nodes_;
  std::map<std::string, std::string> raw_list_;
  std::map<std::string, std::string> raw_mlsd_;
};

}  // namespace fakes
