// Owners of what C libraries hand out: each frees on every way out of the scope, exceptions included.
// The line that obtains a resource makes its owner; nothing travels as a bare pointer or number in between.
// An owner may be moved to another thread, but two threads must not use one at the same time.
#pragma once

#include <unistd.h>

#include <memory>
#include <utility>

namespace ftp_plugin {

/// Deleter that calls `Free`. Its result is dropped: there is nobody left who could act on it.
template <auto Free>
struct freed_by {
  template <class Object>
  void operator()(Object* object) const noexcept {
    static_cast<void>(Free(object));
  }
};

/// Owns one object behind a pointer; null is nothing, and `Free` is never called with it.
template <class Object, auto Free>
using owner = std::unique_ptr<Object, freed_by<Free>>;

/// Owns a handle whose "nothing" is another value than null. `Kind` tells three things:
///   `handle`                           the type, which is copied like a number
///   `static handle none() noexcept`    the value that stands for nothing
///   `static void close(handle) noexcept`  ends one handle; never called with none()
template <class Kind>
class handle_owner {
 public:
  using handle = typename Kind::handle;

  handle_owner() noexcept = default;
  explicit handle_owner(handle owned) noexcept : handle_{owned} {}
  handle_owner(handle_owner&& other) noexcept : handle_{other.release()} {}
  handle_owner& operator=(handle_owner&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~handle_owner() { reset(); }

  /// True when there is something to close.
  explicit operator bool() const noexcept { return handle_ != Kind::none(); }
  [[nodiscard]] handle get() const noexcept { return handle_; }

  /// Gives the handle away; the caller closes it.
  [[nodiscard]] handle release() noexcept { return std::exchange(handle_, Kind::none()); }
  /// Closes what is owned and owns `next` instead. To own the same handle again changes nothing.
  void reset(handle next = Kind::none()) noexcept {
    const handle last = std::exchange(handle_, next);
    if (last != Kind::none() && last != next) {
      Kind::close(last);
    }
  }

 private:
  handle handle_ = Kind::none();
};

struct descriptor_kind {
  using handle = int;
  static handle none() noexcept { return -1; }
  static void close(handle descriptor) noexcept { ::close(descriptor); }
};

/// Owns a file descriptor or socket.
using descriptor = handle_owner<descriptor_kind>;

}  // namespace ftp_plugin
