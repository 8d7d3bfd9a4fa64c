// The last catch before the host: an operation's exception becomes its failure code and a line in the log.
#pragma once

#include <utility>

#include "boundary/log.h"

namespace ftp_plugin {

/// Runs `body` and returns its result. When it throws, the log gets a line under the name `operation`, and
/// the result is `failure`.
template <class Body, class Result>
[[nodiscard]] Result no_throw(const char* operation, Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    log_exception(operation);
    return failure;
  }
}

}  // namespace ftp_plugin
