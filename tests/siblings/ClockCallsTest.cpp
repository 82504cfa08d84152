#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "Threads.h"
#include "WaitUntilTrue.h"
#include "ZinDateTime.h"

namespace {

std::optional<timespec> shownTime;
std::function<void()> duringConversion;
int conversions = 0;

}  // namespace

// The linker puts them in the place of the C library's.
extern "C" int __real_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  if (!shownTime || clock != CLOCK_REALTIME) return __real_clock_gettime(clock, now);
  *now = *shownTime;
  return 0;
}

extern "C" std::tm* __real_localtime_r(const std::time_t* second, std::tm* local);
extern "C" std::tm* __wrap_localtime_r(const std::time_t* second, std::tm* local) {
  ++conversions;
  if (const auto action = std::exchange(duringConversion, nullptr)) action();
  return __real_localtime_r(second, local);
}

namespace {

// 2026-01-05 09:03:07 UTC
constexpr std::time_t second = 1767603787;

void SetTimeZone(const char* zone) {
  ASSERT_EQ(setenv("TZ", zone, 1), 0);
  tzset();
}

// A conversion takes the C library's lock, which all threads of a busy service
// would then want for every line.
TEST(DateTimeCalls, ConvertASecondOnceInAThreadWhateverTheZone) {
  shownTime = timespec{second, 0};
  int expected = 0;
  for (const char* const zone : {"UTC0", "EAST-5:30", "STD5DST4,J1/0,J365/25"}) {
    SetTimeZone(zone);
    for (int i = 0; i < 3; ++i) (void)ZinDateTime::GetCurrentDateTime();
    EXPECT_EQ(conversions, ++expected) << zone;
  }
  shownTime->tv_sec += 1;
  (void)ZinDateTime::GetCurrentDateTime();
  EXPECT_EQ(conversions, expected + 1);
}

TEST(TickCalls, CutTheNanosecondsOffToWholeMilliseconds) {
  shownTime = timespec{second, 999000000};
  EXPECT_EQ(ZinDateTime::GetCurrentTick(), 1767603787999U);
  shownTime = timespec{second, 42999999};
  EXPECT_EQ(ZinDateTime::GetCurrentTick(), 1767603787042U);
}

// The child would inherit the C library's lock locked, and its first line would
// hang.
TEST(DateTimeCalls, AForkWaitsUntilAnotherThreadsConversionIsDone) {
  std::atomic<pid_t> forkingThread{0};
  std::atomic<bool> forked{false};
  bool forkedDuringConversion = false;
  std::jthread forker;
  duringConversion = [&] {
    forker = std::jthread([&] {
      forkingThread = gettid();
      const pid_t child = fork();
      if (child == 0) _exit(0);
      forked = true;
      EXPECT_EQ(waitpid(child, nullptr, 0), child);
    });
    EXPECT_TRUE(WaitUntilTrue(
        [&] { return forked || (forkingThread != 0 && WaitsToBeWoken(forkingThread)); }));
    forkedDuringConversion = forked;
  };
  (void)ZinDateTime::GetCurrentDateTime();
  ASSERT_TRUE(forker.joinable());
  forker.join();
  EXPECT_FALSE(forkedDuringConversion);
}

}  // namespace
