#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "JoiningThread.h"
#include "WaitUntilTrue.h"
#include "ZinDateTime.h"

namespace {

constexpr std::time_t hour = 3600;

void SetTimeZone(const char* zone) {
  ASSERT_EQ(setenv("TZ", zone, 1), 0);
  tzset();
}

// The seconds since the epoch that the fields would mean in UTC. It adds up
// days by hand, so that nothing of the C library's calendar is trusted.
std::time_t AsUtc(const ZinDateTime& moment) {
  const auto isLeap = [](int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  };
  const int daysOfMonth[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::time_t days = 0;
  for (int year = 1970; year < moment.year; ++year) days += isLeap(year) ? 366 : 365;
  for (int month = 1; month < moment.month; ++month) {
    days += daysOfMonth[month - 1] + (month == 2 && isLeap(moment.year) ? 1 : 0);
  }
  days += moment.day - 1;
  return days * 24 * hour + moment.hour * hour + moment.minute * 60 + moment.second;
}

std::uint64_t MillisecondsNow() {
  timespec now{};
  EXPECT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000U +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000000U;
}

// Not time(), which lags behind by some milliseconds.
std::time_t SecondsNow() {
  return static_cast<std::time_t>(MillisecondsNow() / 1000U);
}

// Whether the date and time of now are UTC plus `offset` seconds.
testing::AssertionResult IsAheadOfUtcBy(std::time_t offset) {
  const std::time_t before = SecondsNow();
  const ZinDateTime now = ZinDateTime::GetCurrentDateTime();
  const std::time_t after = SecondsNow();
  const std::time_t shown = AsUtc(now) - offset;
  if (before <= shown && shown <= after) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << now.year << '-' << now.month << '-' << now.day << ' ' << now.hour << ':' << now.minute
         << ':' << now.second << " is off by " << shown - before << " seconds";
}

// A second that lags behind its milliseconds puts 4 of 1,000 lines almost a
// second into the past, and rotated files out of the order of their names.
TEST(DateTime, GoesOnToTheNextSecondTogetherWithTheTick) {
  SetTimeZone("UTC0");
  const std::time_t begin = SecondsNow();
  while (SecondsNow() < begin + 2) {
    const std::time_t tickBefore = static_cast<std::time_t>(ZinDateTime::GetCurrentTick() / 1000U);
    ASSERT_GE(AsUtc(ZinDateTime::GetCurrentDateTime()), tickBefore);
  }
}

TEST(DateTime, IsTheTimeOfTheProcessesZone) {
  SetTimeZone("UTC0");
  EXPECT_TRUE(IsAheadOfUtcBy(0));
}

TEST(DateTime, FollowsAChangeOfTheZone) {
  SetTimeZone("EAST-5:30");
  EXPECT_TRUE(IsAheadOfUtcBy(5 * hour + hour / 2));
  SetTimeZone("WEST+11");
  EXPECT_TRUE(IsAheadOfUtcBy(-11 * hour));
  SetTimeZone("FAR-14");
  EXPECT_TRUE(IsAheadOfUtcBy(14 * hour));
}

// How far the local time of one second moves when the zone is changed.
std::time_t ShiftWithinASecond(const char* formerZone, const char* zone) {
  for (;;) {
    const std::time_t before = SecondsNow();
    SetTimeZone(formerZone);
    const std::time_t first = AsUtc(ZinDateTime::GetCurrentDateTime());
    SetTimeZone(zone);
    const std::time_t second = AsUtc(ZinDateTime::GetCurrentDateTime());
    if (SecondsNow() == before) return second - first;
  }
}

// A thread need not convert the same second twice, unless the zone has changed:
// whatever of it has, all else being the same.
TEST(DateTime, FollowsAChangeOfTheZoneWithinASecond) {
  EXPECT_EQ(ShiftWithinASecond("UTC0", "UTC-3"), 3 * hour);
  EXPECT_EQ(ShiftWithinASecond("STD0", "STD0DST-5,J1/0,J365/25"), 5 * hour);
  EXPECT_EQ(ShiftWithinASecond("STD0DST-5,J1/0,J365/25", "STD0OTHER-7,J1/0,J365/25"), 2 * hour);
  EXPECT_EQ(ShiftWithinASecond("STD0DST-5,J1/0,J365/25", "ONE0DST-7,J1/0,J365/25"), 2 * hour);
}

// Such zones cannot be told apart by what the C library shows of them, so a
// thread that has converted the present second already goes on with that.
TEST(DateTime, FollowsAZoneThatDiffersInItsDatesAloneWithTheNextSecond) {
  SetTimeZone("STD0DST-5,J1/0,J365/25");
  ASSERT_TRUE(IsAheadOfUtcBy(5 * hour));
  const std::time_t begin = SecondsNow();
  std::tm utc{};
  ASSERT_NE(gmtime_r(&begin, &utc), nullptr);
  char zone[80];
  // Three days of summer time, half a year from now.
  ASSERT_GT(std::snprintf(zone, sizeof zone, "STD0DST-5,%d/0,%d/0", (utc.tm_yday + 180) % 365,
                          (utc.tm_yday + 183) % 365),
            0);

  SetTimeZone(zone);

  ASSERT_TRUE(WaitUntilTrue([begin] { return SecondsNow() > begin + 1; }));
  EXPECT_TRUE(IsAheadOfUtcBy(0));
}

// Clocks go forward two seconds from now: the rule is made for the test.
TEST(DateTime, FollowsTheBeginningOfSummerTimeToTheSecond) {
  const std::time_t change = SecondsNow() + 2;
  std::tm utc{};
  ASSERT_NE(gmtime_r(&change, &utc), nullptr);
  char zone[80];
  // Day of the year and time at which summer time begins; it ends a day before
  // that, so that it is winter now, whatever the date.
  ASSERT_GT(std::snprintf(zone, sizeof zone, "STD0DST-1,%d/%d:%02d:%02d,%d/0", utc.tm_yday,
                          utc.tm_hour, utc.tm_min, utc.tm_sec, (utc.tm_yday + 363) % 365),
            0);
  SetTimeZone(zone);
  while (SecondsNow() < change + 2) {
    const std::time_t before = SecondsNow();
    const std::time_t shown = AsUtc(ZinDateTime::GetCurrentDateTime());
    if (SecondsNow() != before) continue;
    ASSERT_EQ(shown - before, before < change ? 0 : hour) << zone;
  }
}

TEST(DateTime, FollowsSummerTime) {
  // Summer time of one hour all year round, by a rule with both ends in it.
  SetTimeZone("STD0DST-1,J1/0,J365/25");
  EXPECT_TRUE(IsAheadOfUtcBy(hour));
}

TEST(DateTime, HasItsSixFieldsInOrder) {
  const auto [year, month, day, hours, minutes, seconds] = ZinDateTime{1, 2, 3, 4, 5, 6};
  EXPECT_EQ(std::vector<std::int32_t>({year, month, day, hours, minutes, seconds}),
            std::vector<std::int32_t>({1, 2, 3, 4, 5, 6}));
  const ZinDateTime byName{1, 2, 3, 4, 5, 6};
  EXPECT_EQ(byName.year, 1);
  EXPECT_EQ(byName.month, 2);
  EXPECT_EQ(byName.day, 3);
  EXPECT_EQ(byName.hour, 4);
  EXPECT_EQ(byName.minute, 5);
  EXPECT_EQ(byName.second, 6);
}

// What has kept no moment yet must not look like one that a clock can show.
TEST(DateTime, IsNoMomentUntilItIsSet) {
  EXPECT_EQ(ZinDateTime{}, (ZinDateTime{0, 0, 0, 0, 0, 0}));
}

TEST(Tick, IsTheSystemClockInMilliseconds) {
  const std::uint64_t before = MillisecondsNow();
  const std::uint64_t tick = ZinDateTime::GetCurrentTick();
  const std::uint64_t after = MillisecondsNow();
  EXPECT_LE(before, tick);
  EXPECT_LE(tick, after);
}

TEST(Tick, GoesOn) {
  const std::uint64_t first = ZinDateTime::GetCurrentTick();
  EXPECT_TRUE(WaitUntilTrue([first] { return ZinDateTime::GetCurrentTick() > first; }));
}

TEST(DateTime, MayBeReadInAChildWhateverItsParentsThreadsDo) {
  constexpr int forks = 300;
  std::atomic<bool> finished{false};
  std::vector<JoiningThread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&finished] {
      while (!finished) (void)ZinDateTime::GetCurrentDateTime();
    });
  }
  int done = 0;
  for (; done < forks; ++done) {
    const pid_t child = fork();
    if (child == 0) {
      (void)ZinDateTime::GetCurrentDateTime();
      _exit(0);
    }
    if (child < 0) break;
    const bool ended = WaitUntilTrue([child] {
      siginfo_t info{};
      EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT), 0);
      return info.si_pid == child;
    });
    if (!ended) (void)kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    if (!ended || status != 0) break;
  }
  finished = true;
  EXPECT_EQ(done, forks) << "a child was not made, hung or died";
}

}  // namespace
