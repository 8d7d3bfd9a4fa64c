// Several threads for steps that do not depend on each other.
#pragma once

#include <cstddef>
#include <functional>

namespace ftp_host {

/// Calls `step` with 0 to `count` - 1 on `threads` threads, the caller's among them. The first exception ends
/// it, once the steps under way are done, and is thrown on.
void run_parallel(unsigned threads, std::size_t count, const std::function<void(std::size_t)>& step);

}  // namespace ftp_host
