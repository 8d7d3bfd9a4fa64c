// Owners of libssh2's objects.
#pragma once

#include <libssh2.h>

#include "common/owner.h"

namespace ftp_plugin {

/// Repeats a closing call while it says that it would have to wait. The socket must be shut down: then
/// nothing of it waits for the server.
template <class Call>
void close_now(Call&& call) {
  constexpr int kMostSteps = 1000;
  for (int n = 0; n < kMostSteps && call() == LIBSSH2_ERROR_EAGAIN; ++n) {
  }
}
template <class Object, int (*Close)(Object*)>
void close_object(Object* object) noexcept {
  close_now([object] { return Close(object); });
}
/// Owns an object of libssh2's. Shut the socket down before it goes.
template <class Object, int (*Close)(Object*)>
using ssh_owner = owner<Object, close_object<Object, Close>>;

}  // namespace ftp_plugin
