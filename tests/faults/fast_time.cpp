#include "tests/faults/fast_time.h"

#include <dlfcn.h>
#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cstdint>

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;

thread_local int factor = 1;
thread_local std::int64_t begun = 0;  // by the real clock
thread_local std::int64_t ahead = 0;  // of the real clock, by what fast times have passed

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int real_clock(clockid_t clock, timespec* time) {
  static auto* const next = real<int(clockid_t, timespec*)>("clock_gettime");
  return next(clock, time);
}

std::int64_t real_now() {
  timespec now{};
  real_clock(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNanoseconds + now.tv_nsec;
}

std::int64_t ahead_now() { return factor == 1 ? ahead : ahead + (factor - 1) * (real_now() - begun); }

bool is_monotonic(clockid_t clock) {
  return clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_RAW || clock == CLOCK_MONOTONIC_COARSE ||
         clock == CLOCK_BOOTTIME;
}

timespec shortened(const timespec& pause) {
  const std::int64_t whole = pause.tv_sec * kNanoseconds + pause.tv_nsec;
  return {static_cast<time_t>(whole / factor / kNanoseconds),
          static_cast<long>(whole / factor % kNanoseconds)};
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const int result = real_clock(clock, time);
  if (result != 0 || !is_monotonic(clock)) return result;
  const std::int64_t now = time->tv_sec * kNanoseconds + time->tv_nsec + ahead_now();
  time->tv_sec = static_cast<time_t>(now / kNanoseconds);
  time->tv_nsec = static_cast<long>(now % kNanoseconds);
  return result;
}

int poll(pollfd* sockets, nfds_t count, int timeout) {
  static auto* const next = real<int(pollfd*, nfds_t, int)>("poll");
  return next(sockets, count, timeout > 0 ? std::max(timeout / factor, 1) : timeout);
}

int nanosleep(const timespec* pause, timespec* left) {
  static auto* const next = real<int(const timespec*, timespec*)>("nanosleep");
  const timespec less = shortened(*pause);
  return next(&less, left);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* pause, timespec* left) {
  static auto* const next = real<int(clockid_t, int, const timespec*, timespec*)>("clock_nanosleep");
  if (flags != 0) return next(clock, flags, pause, left);
  const timespec less = shortened(*pause);
  return next(clock, flags, &less, left);
}
}

namespace faults {

FastTime::FastTime(int by) {
  begun = real_now();
  factor = by;
}

FastTime::~FastTime() {
  ahead = ahead_now();
  factor = 1;
}

std::chrono::milliseconds FastTime::elapsed() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::nanoseconds{factor * (real_now() - begun)});
}

}  // namespace faults
