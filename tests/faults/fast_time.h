// Lets time run faster for the calling thread, so that a test sees how long the plug-in and the libraries
// below it wait for a silent server: two minutes pass in a second. Servers of the test, which have threads of
// their own, keep the ordinary time.
//
// Changed are the monotonic clocks and what sleeps or polls, for every caller in the process: a program that
// is linked with fast_time.cpp takes these calls over from the C library. Nobody waits on a socket in another
// way here.
#pragma once

#include <chrono>

namespace faults {

/// From construction to destruction time runs `factor` times as fast on this thread, which must not change.
/// Behind that it goes on at the ordinary pace from where it is: it never goes back.
class FastTime {
 public:
  explicit FastTime(int factor);
  FastTime(const FastTime&) = delete;
  FastTime& operator=(const FastTime&) = delete;
  ~FastTime();

  /// How long this has been in force, by the fast clock.
  [[nodiscard]] static std::chrono::milliseconds elapsed();
};

}  // namespace faults
