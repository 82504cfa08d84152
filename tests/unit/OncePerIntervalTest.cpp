// What ..._EVERY_MS lets through, to the millisecond.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <limits>
#include <thread>
#include <vector>

#include "JoiningThread.h"
#include "ZinLoggerMacros.h"

namespace {

// While not negative, the steady clock stands still there: nanoseconds.
std::atomic<long long> standsAt{-1};

// What the time of day is ahead by, in seconds.
std::atomic<std::time_t> timeOfDayAhead{0};

// While set, two threads at a time come back from the steady clock together.
std::atomic<bool> inPairs{false};
std::atomic<unsigned> arrived{0};

void WaitForTheOtherOfThePair() {
  const unsigned pairIsThere = arrived.fetch_add(1) / 2 * 2 + 2;
  for (int spins = 0; arrived < pairIsThere; ++spins) {
    if (spins > 10000) std::this_thread::yield();  // there may be one processor
  }
}

constexpr long long nanosecondsPerSecond = 1000000000;

}  // namespace

// A program of its own, because this stands before the C library's for all of
// it.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
  static const auto real =
      reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, "clock_gettime"));
  const int result = real(clock, now);
  const long long stands = standsAt;
  if (clock == CLOCK_MONOTONIC && stands >= 0) {
    now->tv_sec = static_cast<std::time_t>(stands / nanosecondsPerSecond);
    now->tv_nsec = static_cast<long>(stands % nanosecondsPerSecond);
  }
  if (clock == CLOCK_REALTIME) now->tv_sec += timeOfDayAhead;
  if (clock == CLOCK_MONOTONIC && inPairs) WaitForTheOtherOfThePair();
  return result;
}

namespace {

// Shows the steady clock at so many milliseconds, and `more` nanoseconds.
void ShowClock(std::int64_t milliseconds, long long more = 0) {
  standsAt = milliseconds * 1000000LL + more;
}

class OncePerInterval : public testing::Test {
 protected:
  OncePerInterval() { ShowClock(start); }
  ~OncePerInterval() override { standsAt = -1; }

  static constexpr std::int64_t start = 5000;
  ZinOncePerInterval interval;
};

TEST_F(OncePerInterval, LetsTheFirstCallPassAndTheNextOneWhenItIsOver) {
  EXPECT_TRUE(interval.IsDue(250));
  ShowClock(start + 249, 999999);
  EXPECT_FALSE(interval.IsDue(250));
  ShowClock(start + 250);
  EXPECT_TRUE(interval.IsDue(250));
  EXPECT_FALSE(interval.IsDue(250));
}

// So that a line comes at most so often; a call that is late moves those after it.
TEST_F(OncePerInterval, BeginsANewOneWithTheCallThatPasses) {
  EXPECT_TRUE(interval.IsDue(250));
  ShowClock(start + 400);
  EXPECT_TRUE(interval.IsDue(250));
  ShowClock(start + 500);
  EXPECT_FALSE(interval.IsDue(250));
  ShowClock(start + 650);
  EXPECT_TRUE(interval.IsDue(250));
}

TEST_F(OncePerInterval, IsNotProlongedByCallsThatDoNotPass) {
  EXPECT_TRUE(interval.IsDue(250));
  for (std::int64_t passed = 1; passed < 250; ++passed) {
    ShowClock(start + passed);
    EXPECT_FALSE(interval.IsDue(250)) << passed;
  }
  ShowClock(start + 250);
  EXPECT_TRUE(interval.IsDue(250));
}

TEST_F(OncePerInterval, IsAsLongAsThePassingCallSaid) {
  EXPECT_TRUE(interval.IsDue(1000));
  ShowClock(start + 999);
  EXPECT_FALSE(interval.IsDue(1));
  ShowClock(start + 1000);
  EXPECT_TRUE(interval.IsDue(1));
  ShowClock(start + 1001);
  EXPECT_TRUE(interval.IsDue(1));
}

TEST_F(OncePerInterval, MayBeLongerThan32BitsCount) {
  constexpr std::int64_t seventyDays = std::int64_t{70} * 24 * 60 * 60 * 1000;
  EXPECT_TRUE(interval.IsDue(seventyDays));
  ShowClock(start + seventyDays - 1);
  EXPECT_FALSE(interval.IsDue(seventyDays));
  ShowClock(start + seventyDays);
  EXPECT_TRUE(interval.IsDue(seventyDays));
}

TEST_F(OncePerInterval, LetsEveryCallPassWhenItHasNoLength) {
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(interval.IsDue(0));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(interval.IsDue(-1));
}

// With a clock that goes: a boot was a moment ago on some machines, and the first
// call must pass there.
TEST_F(OncePerInterval, LetsTheFirstCallPassRightAfterABoot) {
  ShowClock(0);
  EXPECT_TRUE(interval.IsDue(std::numeric_limits<std::int64_t>::max()));
  EXPECT_FALSE(interval.IsDue(1));
}

// An administrator, or a virtual machine that was suspended, sets the clock: a macro
// that went by it would let too much through, or fall silent for as long.
TEST_F(OncePerInterval, IsNoMatterOfTheTimeOfDay) {
  constexpr std::time_t oneDay = 24L * 60 * 60;
  EXPECT_TRUE(interval.IsDue(1000));
  timeOfDayAhead = oneDay;
  EXPECT_FALSE(interval.IsDue(1000));
  ShowClock(start + 1000);
  timeOfDayAhead = -oneDay;
  EXPECT_TRUE(interval.IsDue(1000));
}

TEST_F(OncePerInterval, LetsOneThreadPassOfThoseThatComeTogether) {
  constexpr std::size_t rounds = 5000;
  std::vector<ZinOncePerInterval> intervals(rounds);
  std::vector<std::atomic<int>> passed(rounds);
  inPairs = true;
  {
    std::vector<JoiningThread> threads;
    for (int thread = 0; thread < 2; ++thread) {
      threads.emplace_back([&] {
        for (std::size_t i = 0; i < rounds; ++i) {
          if (intervals[i].IsDue(1000)) ++passed[i];
        }
      });
    }
  }
  inPairs = false;
  EXPECT_EQ(std::count(passed.begin(), passed.end(), 1), static_cast<long>(rounds));
}

}  // namespace
