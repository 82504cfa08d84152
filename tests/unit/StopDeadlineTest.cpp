#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>

#include "BlockingQueue.h"

using namespace std::chrono_literals;

namespace {

// The next read of the time of day shows this much less; those after it do not.
std::atomic<std::time_t> secondsBehindOnce{0};

}  // namespace

// A program of its own, because this stands before the C library's for all of
// it.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
  static const auto real =
      reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, "clock_gettime"));
  const int result = real(clock, now);
  if (clock == CLOCK_REALTIME) now->tv_sec -= secondsBehindOnce.exchange(0);
  return result;
}

namespace {

// As when an administrator sets the clock nine seconds forward right after the
// wait has begun.
TEST(StopDeadline, IsATimeOfDay) {
  BlockingQueue queue(10);
  queue.Start();
  const auto start = std::chrono::steady_clock::now();
  secondsBehindOnce = 9;

  queue.WaitUntilStopped();

  EXPECT_EQ(secondsBehindOnce, 0);
  EXPECT_TRUE(queue.IsRunning());
  EXPECT_LT(std::chrono::steady_clock::now() - start, 8s);
}

}  // namespace
