#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Scenario.h"
#include "Surroundings.h"
#include "Threads.h"
#include "WaitUntilTrue.h"

// A second start while the channel runs adds a worker to the same queue.

using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

namespace {

// A thread bears its creator's name until it sets its own: those who want to
// see the workers leave must have seen them come.
void StartTwice(const ScratchDir& first, const ScratchDir& second) {
  StartLogChannel(first);
  StartLogChannel(second);
  ASSERT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").size() == 2; }));
}

bool AllWorkersHaveLeft() {
  return WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").empty(); });
}

TEST(TwoWorkers, AreBothEndedByOneStop) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  StartTwice(dir, dir);

  Logger().StopSystem();

  EXPECT_TRUE(AllWorkersHaveLeft());
}

TEST(TwoWorkers, WriteEveryLineOnceBetweenThem) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  StartLogChannel(dir);
  LogLineAndWait(dir, "line 1");
  StartLogChannel(dir);
  ASSERT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").size() == 2; }));

  for (int i = 2; i <= 2000; ++i) LogLine("line " + std::to_string(i));
  Logger().StopSystem();

  ASSERT_TRUE(AllWorkersHaveLeft());
  EXPECT_THAT(OwnMessagesOfAllFiles(dir), UnorderedElementsAreArray(NumberedLines(2000)));
}

// Both workers come to the same file name at the same moment.
TEST(TwoWorkers, LoseNoLineWhenBothOpenTheFileAtOnce) {
  SKIP_IF(WhyNoProc());
  for (int round = 0; round < 100; ++round) {
    const ScratchDir dir;
    StartTwice(dir, dir);

    LogNumberedLines(20);
    Logger().StopSystem();

    ASSERT_TRUE(AllWorkersHaveLeft());
    ASSERT_THAT(OwnMessagesOfAllFiles(dir), UnorderedElementsAreArray(NumberedLines(20)))
        << "round " << round;
  }
}

TEST(TwoWorkers, InTwoDirectoriesWriteEveryLineOnceBetweenThem) {
  SKIP_IF(WhyNoProc());
  const ScratchDir first;
  const ScratchDir second;
  StartTwice(first, second);

  LogNumberedLines(2000);
  Logger().StopSystem();

  ASSERT_TRUE(AllWorkersHaveLeft());
  std::vector<std::string> lines = OwnMessagesOfAllFiles(first);
  const std::vector<std::string> others = OwnMessagesOfAllFiles(second);
  lines.insert(lines.end(), others.begin(), others.end());
  EXPECT_THAT(lines, UnorderedElementsAreArray(NumberedLines(2000)));
}

// As when a part of the program starts the channel that another part has started.
TEST(TwoWorkers, TakeTheCapacityOfTheLaterStart) {
  const ScratchDir dir;
  StartLogChannel(dir);
  StartLogChannel(dir, {.queueCapacity = 0});
  LogLine("no room");
  StartLogChannel(dir);
  ASSERT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").size() == 3; }));
  LogLine("room");
  Logger().StopSystem();

  ASSERT_TRUE(AllWorkersHaveLeft());
  EXPECT_THAT(OwnMessagesOfAllFiles(dir), ElementsAre("room"));
}

TEST(TwoWorkers, OfTheMetricsChannelAreBothEndedByOneStop) {
  SKIP_IF(WhyNoProc());
  const ScratchDir first;
  const ScratchDir second;
  StartLogChannel(first);
  StartMetricsChannel(first.Path());
  StartMetricsChannel(second.Path());
  ASSERT_TRUE(WaitUntilTrue([] {
    return ThreadsNamed("zin-met-worker").size() == 2 && ThreadsNamed("zin-log-worker").size() == 1;
  }));

  Logger().StopMetricSystem();

  EXPECT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-met-worker").empty(); }));
  EXPECT_THAT(ThreadsNamed("zin-log-worker"), SizeIs(1));
  Logger().StopSystem();
}

}  // namespace
