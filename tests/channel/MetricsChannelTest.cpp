#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "CapturedStandardError.h"
#include "ProcessSettings.h"
#include "Scenario.h"
#include "Text.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

namespace {

TEST(MetricsChannel, WritesRecordsAsTheyAreIntoAFileOfItsOwn) {
  const ScratchDir dir;
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");

  Logger().Metrics("cpu=%d", 42);
  Logger().Metrics("brings its newline\n");
  LogLine("a log line");
  Logger().StopMetricSystem();
  Logger().StopSystem();

  EXPECT_EQ(dir.Read("metrics/metrics.log"), "cpu=42\nbrings its newline\n");
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("a log line"));
}

TEST(MetricsChannel, RunsWithoutTheLogChannel) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path());
  const CapturedStandardError standardError;

  Logger().Metrics("record");
  LogLine("a log line");
  Logger().StopMetricSystem();

  EXPECT_EQ(dir.Read("metrics.log"), "record\n");
  EXPECT_THAT(OwnMessages(SplitLines(standardError.Text())), ElementsAre("a log line"));
}

TEST(MetricsChannel, NeverPutsARecordIntoTheCacheOfLines) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path());

  Logger().Metrics("record");

  EXPECT_THAT(ZinGetCacheLog(10), Not(HasSubstr("record")));
  Logger().StopMetricSystem();
}

TEST(MetricsChannel, StoppedAloneSaysSoOnStandardErrorWhenThereIsNoLog) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path(), {.queueCapacity = 0});  // no file, and nothing said about it
  const CapturedStandardError standardError;

  Logger().StopMetricSystem();

  EXPECT_THAT(standardError.Text(),
              MatchesRegex("\\[channel_tests\\] .* \\[INFO\\] \\[ZinLoggerPrivate:[0-9]+\\] "
                           "\\[StopMetricsQueue\\]: @@@@ METRICS EXIT @@@@\n"));
  EXPECT_EQ(ZinGetCacheLog(10), standardError.Text());
}

TEST(MetricsChannel, StoppedAloneSaysSoInTheLogAndLeavesTheLogRunning) {
  const ScratchDir dir;
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");
  LogLineAndWait(dir, "before");
  const CapturedStandardError standardError;

  Logger().StopMetricSystem();
  LogLine("after");
  Logger().StopSystem();

  EXPECT_THAT(dir.LinesOf("app.log"),
              Contains(MatchesRegex(".*\\] \\[INFO\\] \\[ZinLoggerPrivate:[0-9]+\\] "
                                    "\\[StopMetricsQueue\\]: @@@@ METRICS EXIT @@@@")));
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("before", "after"));
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_FALSE(dir.Has("metrics/metrics.log"));
}

// The log channel is stopped first, so it can no longer take the line.
TEST(MetricsChannel, StoppedWithTheLogSaysSoOnStandardError) {
  const ScratchDir dir;
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");
  LogLineAndWait(dir, "line");
  Logger().Metrics("record");
  const CapturedStandardError standardError;

  Logger().StopSystem();

  EXPECT_THAT(
      SplitLines(standardError.Text()),
      ElementsAre(MatchesRegex("\\[channel_tests\\] .* \\[INFO\\] \\[ZinLoggerPrivate:[0-9]+\\] "
                               "\\[StopQueue\\]: @@@@ METRICS EXIT @@@@")));
  EXPECT_EQ(MessageOf(dir.LinesOf("app.log").back()), "@@@@ LOG EXIT @@@@");
  EXPECT_EQ(dir.Read("metrics/metrics.log"), "record\n");
}

TEST(MetricsChannel, SendsItsRecordsToStandardErrorBeforeTheStartAndAfterTheStop) {
  const ScratchDir dir;
  StartLogChannel(dir);  // takes what the library says about itself
  const CapturedStandardError standardError;

  Logger().Metrics("before");
  StartMetricsChannel(dir / "metrics");
  Logger().Metrics("while it runs");
  Logger().StopMetricSystem();
  Logger().Metrics("after");

  EXPECT_EQ(standardError.Text(), "before\nafter\n");
  EXPECT_EQ(dir.Read("metrics/metrics.log"), "while it runs\n");
  EXPECT_EQ(Logger().GetMetricsCount(), 3);
  Logger().StopSystem();
}

TEST(MetricsChannel, CountsTheRecordsThatItsFullQueueDrops) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path(), {.queueCapacity = 0});
  const CapturedStandardError standardError;

  for (int i = 0; i < 3; ++i) Logger().Metrics("dropped");

  EXPECT_EQ(Logger().GetMetricsCount(), 3);
  EXPECT_EQ(standardError.Text(), "");
  Logger().StopMetricSystem();
  EXPECT_FALSE(dir.Has("metrics.log"));
}

TEST(MetricsChannel, KeepsCountAndSwitchOverAStopAndAStart) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path());
  Logger().Metrics("counted");
  Logger().MetricsGetPrivSwitch(1);
  {
    const CapturedStandardError exitLine;
    Logger().StopMetricSystem();
  }

  StartMetricsChannel(dir.Path());
  Logger().Metrics("silenced");

  EXPECT_EQ(Logger().GetMetricsCount(), 1);
  Logger().MetricsGetPrivSwitch(0);
  Logger().Metrics("heard");
  EXPECT_EQ(Logger().GetMetricsCount(), 2);
  Logger().StopMetricSystem();
  EXPECT_EQ(dir.Read("metrics.log"), "heard\n");
}

TEST(MetricsChannel, ReportsARecordThatIsTooLongInTheLog) {
  const ScratchDir dir;
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");

  Logger().Metrics("%s", std::string(8190, 'a').c_str());
  Logger().Metrics("%s", std::string(8191, 'b').c_str());
  Logger().StopMetricSystem();
  Logger().StopSystem();

  EXPECT_EQ(dir.Read("metrics/metrics.log"), std::string(8190, 'a') + "\n");
  EXPECT_THAT(dir.LinesOf("app.log"),
              Contains(MatchesRegex(".*\\] \\[ERROR\\] \\[ZinLogger:[0-9]+\\] \\[Metrics\\]: "
                                    "Maybe metrics data len > 8192 !!!")));
}

TEST(MetricsChannel, KeepsTheRecordsOfSeveralThreadsWhole) {
  constexpr int threadCount = 8;
  constexpr int recordsPerThread = 1000;
  const ScratchDir dir;
  StartMetricsChannel(dir.Path());
  const auto record = [](int thread, int number) {
    return std::to_string(thread) + " " + std::to_string(number) + " " +
           std::string(static_cast<std::size_t>(100 + 50 * thread),
                       static_cast<char>('a' + thread));
  };

  std::vector<std::thread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < recordsPerThread; ++i) Logger().Metrics("%s", record(thread, i).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  Logger().StopMetricSystem();

  const std::vector<std::string> lines = dir.LinesOf("metrics.log");
  EXPECT_EQ(Logger().GetMetricsCount(), threadCount * recordsPerThread);
  ASSERT_THAT(lines, SizeIs(threadCount * recordsPerThread));
  std::vector<int> next(threadCount, 0);
  for (const std::string& line : lines) {
    const int thread = std::stoi(line);
    ASSERT_LT(thread, threadCount);
    ASSERT_EQ(line, record(thread, next[static_cast<std::size_t>(thread)]++));
  }
}

TEST(MetricsChannel, MakesItsDirectoryAtTheStartWithMode0770) {
  const ScratchDir dir;
  const ScopedUmask allBits(0);

  StartMetricsChannel(dir / "metrics");

  EXPECT_EQ(dir.ModeOf("metrics"), mode_t{0770});
  Logger().StopMetricSystem();
}

TEST(MetricsChannel, MakesOneLevelOfItsDirectoryAtTheStartAndTheRestWithTheFirstRecord) {
  const ScratchDir dir;

  StartMetricsChannel(dir / "not/metrics");
  EXPECT_THAT(dir.Names(), IsEmpty());

  Logger().Metrics("record");
  Logger().StopMetricSystem();
  EXPECT_EQ(dir.Read("not/metrics/metrics.log"), "record\n");
  EXPECT_EQ(dir.ModeOf("not/metrics"), mode_t{0750});
}

TEST(MetricsChannel, MakesNoDirectoryWhenTheNameIsRefused) {
  const ScratchDir dir;

  EXPECT_FALSE(
      Logger().StartSystemForMetrics("metrics.txt", (dir / "metrics").c_str(), 5, 1, 10, true));

  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(MetricsChannel, GivesItsFileMode0660UnderAMetricsDirectoryAnd0640Elsewhere) {
  const ScratchDir dir;
  StartMetricsChannel(dir / "metrics");
  Logger().Metrics("record");
  Logger().StopMetricSystem();
  StartMetricsChannel(dir / "elsewhere");
  Logger().Metrics("record");
  Logger().StopMetricSystem();

  EXPECT_EQ(dir.ModeOf("metrics/metrics.log"), mode_t{0660});
  EXPECT_EQ(dir.ModeOf("elsewhere/metrics.log"), mode_t{0640});
}

TEST(MetricsChannel, GivesALogFileMode0660UnderAMetricsDirectory) {
  const ScratchDir dir;
  StartLogChannel(dir);

  LogLine("line", "metrics");
  Logger().StopSystem();

  EXPECT_EQ(dir.ModeOf("metrics/app.log"), mode_t{0660});
}

TEST(MetricsChannel, RotatesAndKeepsFilesLikeTheLogChannel) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path(), {.keepFiles = 2, .fileSizeMiB = 4096});

  for (const char* const record : {"1", "2", "3"}) Logger().Metrics("%s", record);
  Logger().StopMetricSystem();

  EXPECT_THAT(RotatedNames(dir, "metrics"), SizeIs(2));
  EXPECT_EQ(dir.Read("metrics.log"), "");
}

}  // namespace
