// Local files and directories, reached from an open directory one name at a time, so that neither a symbolic
// link nor a hostile name leads out of the target.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/owner.h"

namespace ftp_host {

struct LocalEntry {
  enum class Kind { file, directory, link, other };
  std::string name;
  Kind kind = Kind::other;
  std::int64_t size = 0;
  std::time_t time = 0;      ///< whole seconds, rounded down
  std::int64_t version = 0;  ///< changes when the content does: the exact modification time
};

/// An open directory. Every function throws a Failure (local file) that names the path.
class LocalDirectory {
 public:
  /// `path` as the user typed it: links in it are followed.
  [[nodiscard]] static LocalDirectory open(const std::string& path);

  /// The directory `name` in this one, never through a link. With `create` it is made when it is not there.
  [[nodiscard]] LocalDirectory enter(const std::string& name, bool create) const;
  /// What `name` is; a link is not followed. None when there is nothing.
  [[nodiscard]] std::optional<LocalEntry> find(const std::string& name) const;
  /// Whether `name`, or what it leads to as a link, is there and is neither a file nor a directory.
  [[nodiscard]] bool is_special(const std::string& name) const;
  /// All entries but "." and "..", in byte order of their names.
  [[nodiscard]] std::vector<LocalEntry> list() const;
  [[nodiscard]] Descriptor open_for_reading(const std::string& name) const;
  /// Creates `name`, or opens the file that is there; locked against another run of this program.
  [[nodiscard]] Descriptor open_for_writing(const std::string& name) const;
  void rename(const std::string& from, const std::string& to) const;
  void remove_file(const std::string& name) const;
  void remove_directory(const std::string& name) const;
  /// Removes the temporary files that interrupted runs left of the file `name`, or of every file when `name`
  /// is empty. `keep` stays, and so does what another run has locked.
  void remove_temporaries(const std::string& name, const std::string& keep) const;
  /// Removes the temporary file `name`, unless another run has locked it.
  void remove_temporary(const std::string& name) const;
  /// The same directory, opened once more.
  [[nodiscard]] LocalDirectory again() const;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  /// For messages.
  [[nodiscard]] std::string path_of(std::string_view name) const;
  [[nodiscard]] int file() const noexcept { return file_.get(); }

 private:
  LocalDirectory(Descriptor file, std::string path) : file_{std::move(file)}, path_{std::move(path)} {}

  Descriptor file_;
  std::string path_;
};

/// What a path that the user typed names; links are followed. None when there is nothing.
[[nodiscard]] std::optional<LocalEntry> find_local(const std::string& path);
/// "a/b/c" as directory ("." where there is none) and name.
struct SplitPath {
  std::string directory, name;
};
[[nodiscard]] SplitPath split_local_path(std::string path);
/// Makes the directory `path` when it is not there; its parent must be.
void make_local_directory(const std::string& path);

/// Writes all of `data` at `offset`; 0 or the error number.
[[nodiscard]] int write_all(int file, std::int64_t offset, const char* data, std::size_t length);

}  // namespace ftp_host
