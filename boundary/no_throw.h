// The last catch before the host: an operation's exception becomes its failure code.
#pragma once

#include <utility>

namespace ftp_plugin {

/// Runs `body` and returns its result, or `failure` when it throws.
template <class Body, class Result>
Result no_throw(Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return failure;
  }
}

}  // namespace ftp_plugin
