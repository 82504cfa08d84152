// The threads that log, and how they pass the time between lines.
#ifndef ZIN_BENCH_CALLERS_H
#define ZIN_BENCH_CALLERS_H

#include <sys/prctl.h>

#include <barrier>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "Clock.h"

// Runs body(0) to body(count - 1) in threads of their own, all at once, and
// returns when the last is done. The result is when they were let go, in ns;
// `beforeStart` runs just before.
template <typename Body, typename BeforeStart>
std::int64_t RunCallers(int count, Body body, BeforeStart beforeStart) {
  std::barrier allReady(count + 1);
  std::vector<std::jthread> callers;
  callers.reserve(static_cast<std::size_t>(count));
  for (int thread = 0; thread < count; ++thread) {
    callers.emplace_back([&, thread] {
      // Sleeps end when they are due and not 50 us later.
      (void)prctl(PR_SET_TIMERSLACK, 1UL);
      allReady.arrive_and_wait();
      body(thread);
    });
  }
  beforeStart();
  const std::int64_t start = NowNanoseconds();
  allReady.arrive_and_wait();
  callers.clear();  // joins
  return start;
}

template <typename Body>
std::int64_t RunCallers(int count, Body body) {
  return RunCallers(count, body, [] {});
}

// Lets the thread sleep, or compute, until that moment.
inline void PassTimeUntil(std::int64_t nanoseconds, bool spin) {
  if (spin) {
    while (NowNanoseconds() < nanoseconds) {
    }
    return;
  }
  const std::int64_t left = nanoseconds - NowNanoseconds();
  if (left > 0) std::this_thread::sleep_for(std::chrono::nanoseconds(left));
}

#endif  // ZIN_BENCH_CALLERS_H
