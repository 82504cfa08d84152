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

// A program of its own, because this stands before the standard library's for all
// of it.
std::chrono::system_clock::time_point std::chrono::system_clock::now() noexcept {
  timespec now{};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  const auto sinceTheEpoch = seconds(now.tv_sec - secondsBehindOnce.exchange(0));
  return time_point(duration_cast<duration>(sinceTheEpoch + nanoseconds(now.tv_nsec)));
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
