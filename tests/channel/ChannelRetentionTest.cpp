#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Scenario.h"
#include "Surroundings.h"
#include "Threads.h"
#include "WaitUntilTrue.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

void AddFourOldLogs(const ScratchDir& dir) {
  dir.AddLogs({{"newest.log", 400}, {"oldest.log", 100}, {"older.log", 200}, {"newer.log", 300}});
}

TEST(ChannelRetention, TrimsTheDirectoryAtOnceWhenTheChannelStarts) {
  const ScratchDir dir;
  AddFourOldLogs(dir);
  Logger().LimitLogPathSize(3, 1000);

  ASSERT_TRUE(Logger().StartSystem("app.log", dir.Path().c_str(), 5, 1, INFO, plenty, true));

  // 4 - 3 + 1 = 2 go.
  EXPECT_TRUE(WaitUntilTrue([&] { return dir.Names().size() == 2; }));
  EXPECT_THAT(dir.Names(), ElementsAre("newer.log", "newest.log"));
  Logger().StopSystem();
}

TEST(ChannelRetention, OfTheMetricsChannelHasLimitsOfItsOwn) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  AddFourOldLogs(dir);
  Logger().LimitLogPathSize(1, 0);
  Logger().LimitMetricsPathSize(4, 1000);
  ASSERT_TRUE(
      Logger().StartSystemForMetrics("metrics.log", dir.Path().c_str(), 5, 1, plenty, true));
  ASSERT_TRUE(WaitUntilTrue([] {
    const std::vector<pid_t> keepers = ThreadsNamed("zin-met-keeper");
    return keepers.size() == 1 && IsAsleep(keepers[0]);
  }));
  Logger().StopMetricSystem();
  EXPECT_THAT(dir.Names(), SizeIs(4));

  Logger().LimitMetricsPathSize(2, 1000);
  ASSERT_TRUE(
      Logger().StartSystemForMetrics("metrics.log", dir.Path().c_str(), 5, 1, plenty, true));

  // 4 - 2 + 1 = 3 go.
  EXPECT_TRUE(WaitUntilTrue([&] { return dir.Names().size() == 1; }));
  EXPECT_THAT(dir.Names(), ElementsAre("newest.log"));
  Logger().StopMetricSystem();
}

TEST(ChannelRetention, GoesOnAfterAStopAndIsJoinedByOneMoreThreadPerStart) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  for (std::size_t start = 1; start <= 3; ++start) {
    StartLogChannel(dir);
    // Its one look at the channel's flag is behind it once it sleeps.
    EXPECT_TRUE(WaitUntilTrue([&] {
      const std::vector<pid_t> keepers = ThreadsNamed("zin-log-keeper");
      return keepers.size() == start && IsAsleep(keepers.back());
    }));
    Logger().StopSystem();
  }

  EXPECT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").empty(); }));
  EXPECT_THAT(ThreadsNamed("zin-log-keeper"), SizeIs(3));
}

}  // namespace
