// How much time has passed, for a few nanoseconds.
#ifndef ZIN_COARSE_CLOCK_H
#define ZIN_COARSE_CLOCK_H

#include <cstdint>
#include <ctime>

// Never goes back, and is right to a few milliseconds. No system call.
inline std::int64_t CoarseMilliseconds() noexcept {
  timespec now{};
  (void)clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

#endif  // ZIN_COARSE_CLOCK_H
