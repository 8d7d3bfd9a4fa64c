// Owners of what the C library hands out: descriptors, directory streams, loaded libraries.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <utility>

namespace ftp_host {

/// Owns one resource and gives it back when it goes. `Kind` tells the type of the handle, which value means
/// "none" (it is that library's own: -1 for descriptors, null for pointers), and how it is given back.
template <class Kind>
class Owner {
 public:
  using Handle = typename Kind::Handle;

  Owner() noexcept = default;
  explicit Owner(Handle handle) noexcept : handle_{handle} {}
  Owner(Owner&& other) noexcept : handle_{other.release()} {}
  Owner& operator=(Owner&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Owner() {
    if (*this) Kind::give_back(handle_);
  }

  explicit operator bool() const noexcept { return handle_ != Kind::none(); }
  [[nodiscard]] Handle get() const noexcept { return handle_; }
  /// For a call that takes the resource over: nothing is owned afterwards.
  [[nodiscard]] Handle release() noexcept { return std::exchange(handle_, Kind::none()); }

 private:
  Handle handle_ = Kind::none();
};

struct DescriptorKind {
  using Handle = int;
  static constexpr int none() noexcept { return -1; }
  static void give_back(int file) noexcept { ::close(file); }
};
using Descriptor = Owner<DescriptorKind>;

struct DirectoryStreamKind {
  using Handle = DIR*;
  static constexpr DIR* none() noexcept { return nullptr; }
  static void give_back(DIR* stream) noexcept { ::closedir(stream); }
};
using DirectoryStream = Owner<DirectoryStreamKind>;

struct LibraryKind {
  using Handle = void*;
  static constexpr void* none() noexcept { return nullptr; }
  static void give_back(void* library) noexcept { ::dlclose(library); }
};
using Library = Owner<LibraryKind>;

}  // namespace ftp_host
