#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "CapturedStandardError.h"
#include "Scenario.h"
#include "Text.h"
#include "WaitUntilTrue.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::UnorderedElementsAreArray;

namespace {

TEST(Stop, WritesTheExitLineAsTheLastLineOfTheFile) {
  const ScratchDir dir;
  StartLogChannel(dir);
  LogLineAndWait(dir, "first");
  LogLine("second");

  Logger().StopSystem();

  const std::vector<std::string> lines = dir.LinesOf("app.log");
  ASSERT_THAT(lines, Not(IsEmpty()));
  EXPECT_THAT(lines.back(), MatchesRegex(".*\\] \\[INFO\\] \\[ZinLoggerPrivate:[0-9]+\\] "
                                         "\\[StopQueue\\]: @@@@ LOG EXIT @@@@"));
  EXPECT_THAT(OwnMessages(lines), ElementsAre("first", "second"));
}

TEST(Stop, WritesNoExitLineWhenTheLevelFiltersIt) {
  const ScratchDir dir;
  StartLogChannel(dir, {.level = WARN});
  const CapturedStandardError standardError;
  LogLine("warning", "", WARN);

  Logger().StopSystem();

  EXPECT_THAT(dir.Read("app.log"), Not(HasSubstr("LOG EXIT")));
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("warning"));
  EXPECT_EQ(standardError.Text(), "");
}

TEST(Stop, ReturnsAtOnceWhenNothingRunsAndLogsNothing) {
  const CapturedStandardError standardError;
  const auto start = std::chrono::steady_clock::now();

  Logger().StopSystem();
  Logger().StopMetricSystem();

  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(ZinGetCacheLog(10), "");
}

TEST(Stop, ReturnsAtOnceWhenTheWorkerIsIdle) {
  const ScratchDir dir;
  StartLogChannel(dir);
  const auto start = std::chrono::steady_clock::now();

  Logger().StopSystem();

  EXPECT_LT(std::chrono::steady_clock::now() - start, 8s);
}

TEST(Stop, StopsAFullQueue) {
  const ScratchDir dir;
  StartLogChannel(dir, {.queueCapacity = 1});
  const auto start = std::chrono::steady_clock::now();
  LogNumberedLines(1000);

  Logger().StopSystem();

  EXPECT_LT(std::chrono::steady_clock::now() - start, 8s);
}

TEST(Stop, IsWhatAStartWithANullNameDoes) {
  const ScratchDir dir;
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");
  LogLineAndWait(dir, "line");
  Logger().Metrics("record");
  const CapturedStandardError standardError;

  EXPECT_TRUE(Logger().StartSystem(nullptr, nullptr, 0, 0, INFO, 0, false));

  EXPECT_EQ(MessageOf(dir.LinesOf("app.log").back()), "@@@@ LOG EXIT @@@@");
  LogLine("after");
  Logger().Metrics("metrics after");
  EXPECT_THAT(MessagesOf(SplitLines(standardError.Text())),
              ElementsAre("@@@@ METRICS EXIT @@@@", "after", "metrics after"));
}

TEST(Stop, ByTwoThreadsAtOnceLeavesTheNextStartUnharmed) {
  const ScratchDir dir;
  for (int round = 1; round <= 20; ++round) {
    StartLogChannel(dir);
    LogLine("line " + std::to_string(2 * round - 1));
    {
      const CapturedStandardError lateExitLine;
      std::thread other([] { Logger().StopSystem(); });
      Logger().StopSystem();
      other.join();
    }

    // A marker that was left over would end this worker before its line.
    StartLogChannel(dir);
    LogLine("line " + std::to_string(2 * round));
    EXPECT_TRUE(WaitUntilTrue(
        [&] { return FileHolds(dir, "app.log", "line " + std::to_string(2 * round) + "\n"); }));
    Logger().StopSystem();
  }

  EXPECT_THAT(OwnMessagesOfAllFiles(dir), UnorderedElementsAreArray(NumberedLines(40)));
}

TEST(Stop, WhileThreadsGoOnLoggingSplitsTheirLinesBetweenFileAndStandardError) {
  constexpr int linesPerThread = 3000;
  const ScratchDir dir;
  StartLogChannel(dir);
  std::vector<std::string> onStandardError;
  {
    const CapturedStandardError standardError;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([] { LogNumberedLines(linesPerThread); });
    }
    Logger().StopSystem();
    for (std::thread& thread : threads) thread.join();
    onStandardError = OwnMessages(SplitLines(standardError.Text()));
  }

  // What was queued behind the exit marker waits for the next start.
  StartLogChannel(dir);
  Logger().StopSystem();
  const std::size_t inFiles = OwnMessagesOfAllFiles(dir).size();
  // A line that meets the very moment of the stop may be dropped, at most one
  // per thread: its thread saw the queue running, and the queue refused it.
  EXPECT_LE(inFiles + onStandardError.size(), std::size_t{4 * linesPerThread});
  EXPECT_GE(inFiles + onStandardError.size(), std::size_t{4 * linesPerThread - 4});
}

}  // namespace
