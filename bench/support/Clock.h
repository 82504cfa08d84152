#ifndef ZIN_BENCH_CLOCK_H
#define ZIN_BENCH_CLOCK_H

#include <chrono>
#include <cstdint>

// Nanoseconds of the monotonic clock. One read costs some 20 ns; the rows of
// the empty logger show how much of a latency that is.
inline std::int64_t NowNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

#endif  // ZIN_BENCH_CLOCK_H
