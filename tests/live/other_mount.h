// A second file system under a server's folder.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <iostream>
#include <utility>

namespace live {

/// A file system of its own in a folder, seen by this process and those that it starts from then on. Where
/// this process has no right to mount, the folder stays an ordinary one and the test says so.
class OtherMount {
 public:
  explicit OtherMount(std::filesystem::path folder) : folder_{std::move(folder)} {
    std::filesystem::create_directory(folder_);
    mounted_ = mount("edges", folder_.c_str(), "tmpfs", 0, "mode=0755") == 0;
    if (!mounted_) std::cout << "no right to mount: " << folder_ << " is an ordinary folder\n";
  }
  OtherMount(const OtherMount&) = delete;
  OtherMount& operator=(const OtherMount&) = delete;
  ~OtherMount() {
    if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
  }

  /// To be called before the server starts: afterwards what is mounted ends with the process.
  static void keep_to_this_process() {
    if (unshare(CLONE_NEWNS) == 0) mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  }

 private:
  std::filesystem::path folder_;
  bool mounted_ = false;
};

}  // namespace live
