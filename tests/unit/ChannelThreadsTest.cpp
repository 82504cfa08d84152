#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "FakeSleep.h"
#include "OpenQueue.h"
#include "ScratchDir.h"
#include "Threads.h"
#include "WaitUntilTrue.h"
#include "ZinLoggerPrivate.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// A log channel whose worker is the test's own thread: what is queued here is
// written by one call.
class Channel {
 public:
  explicit Channel(const ScratchDir& dir) : directory(dir.Path()) {
    state.logQueue.SetCapacity(1000);
    state.metricsQueue.SetCapacity(1000);
    worker = state.logQueue.Start();
  }

  void Queue(const std::string& subDirKey, const std::string& line) {
    state.logQueue.Push(subDirKey, line);
  }

  // Runs a worker up to the next exit marker.
  void Work(int keepFiles, int fileSizeMiB) {
    state.LogWorkTask("app.log", directory, keepFiles, fileSizeMiB, true, worker);
  }

  ZinLoggerPrivate state;
  std::string directory;
  BlockingQueue::Generation worker = 0;
};

constexpr int keepAll = 1000;

std::vector<std::string> RotatedNames(const ScratchDir& dir) {
  std::vector<std::string> names = dir.Names();
  std::erase(names, "app.log");
  return names;
}

TEST(LogWorkTask, WritesTheQueuedLinesInOrderAndMarksTheQueueStopped) {
  const ScratchDir dir;
  Channel channel(dir);
  channel.Queue("", "1\n");
  channel.Queue("", "2\n");
  channel.state.logQueue.PushExitMarker();

  channel.Work(keepAll, 1);

  EXPECT_EQ(dir.Read("app.log"), "1\n2\n");
  EXPECT_FALSE(channel.state.logQueue.IsRunning());
}

TEST(LogWorkTask, WritesALineIntoTheSubDirectoryOfItsKey) {
  const ScratchDir dir;
  Channel channel(dir);
  channel.Queue("", "here\n");
  channel.Queue("net", "there\n");
  channel.state.logQueue.PushExitMarker();

  channel.Work(keepAll, 1);

  EXPECT_EQ(dir.Read("app.log"), "here\n");
  EXPECT_EQ(dir.Read("net/app.log"), "there\n");
}

TEST(LogWorkTask, LeavesAtAnyRecordWithoutALineAndKeepsWhatFollows) {
  const ScratchDir dir;
  Channel channel(dir);
  channel.Queue("", "1\n");
  channel.Queue("net", "");
  channel.Queue("", "2\n");

  channel.Work(keepAll, 1);

  EXPECT_EQ(dir.Read("app.log"), "1\n");
  EXPECT_FALSE(channel.state.logQueue.IsRunning());
  EXPECT_EQ(channel.state.logQueue.Size(), 1u);
}

TEST(LogWorkTask, WritesWhatCameAfterTheExitMarkerInTheNextRun) {
  const ScratchDir dir;
  Channel channel(dir);
  channel.state.logQueue.PushExitMarker();
  channel.Queue("", "late\n");
  channel.Work(keepAll, 1);
  EXPECT_FALSE(dir.Has("app.log"));

  channel.worker = channel.state.logQueue.Start();
  channel.state.logQueue.PushExitMarker();
  channel.Work(keepAll, 1);

  EXPECT_EQ(dir.Read("app.log"), "late\n");
}

TEST(LogWorkTask, LeavesAtOnceWhenItsGenerationIsOver) {
  const ScratchDir dir;
  Channel channel(dir);
  channel.state.logQueue.PushExitMarker();  // a stop that timed out
  channel.state.logQueue.Start();           // and the start after it
  channel.Queue("", "for the successor\n");

  channel.Work(keepAll, 1);

  EXPECT_TRUE(channel.state.logQueue.IsRunning());
  EXPECT_EQ(channel.state.logQueue.Size(), 1u);
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(LogWorkTask, ServesTheMetricsQueueWhenItIsNotForTheLog) {
  const ScratchDir dir;
  Channel channel(dir);
  const auto worker = channel.state.metricsQueue.Start();
  channel.state.metricsQueue.Push("", "record\n");
  channel.state.metricsQueue.PushExitMarker();
  channel.Queue("", "line\n");

  channel.state.LogWorkTask("metrics.log", dir.Path(), keepAll, 1, false, worker);

  EXPECT_EQ(dir.Read("metrics.log"), "record\n");
  EXPECT_FALSE(channel.state.metricsQueue.IsRunning());
  EXPECT_TRUE(channel.state.logQueue.IsRunning());
  EXPECT_EQ(channel.state.logQueue.Size(), 1u);
}

// The first rotation of a writer is number 000, and the fake clock stands still.
TEST(LogWorkTask, RotatesAfterEveryLineAtASizeOf4096) {
  const ScratchDir dir;
  Channel channel(dir);
  channel.Queue("", "1\n");
  channel.Queue("", "2\n");
  channel.state.logQueue.PushExitMarker();

  channel.Work(keepAll, 4096);

  EXPECT_EQ(dir.Read("app_20260105090307042-000-4711.log"), "1\n");
  EXPECT_EQ(dir.Read("app_20260105090307042-001-4711.log"), "2\n");
  EXPECT_EQ(dir.Read("app.log"), "");
}

// A size that is taken modulo 4096, and by its low 12 bits when it is negative.
TEST(LogWorkTask, RotatesPastOneMiBAtASizeOf4097) {
  const std::string halfMiB = std::string(MiB(1) / 2 - 1, 'x') + "\n";
  for (const int fileSizeMiB : {1, 4097, -4095}) {
    const ScratchDir dir;
    Channel channel(dir);
    channel.Queue("", halfMiB);
    channel.Queue("", halfMiB);  // 1 MiB to the byte: not past it
    channel.Queue("", "one more\n");
    channel.Queue("", "next file\n");
    channel.state.logQueue.PushExitMarker();

    channel.Work(keepAll, fileSizeMiB);

    const std::vector<std::string> rotated = RotatedNames(dir);
    ASSERT_EQ(rotated.size(), 1u) << fileSizeMiB;
    EXPECT_EQ(dir.Read(rotated[0]), halfMiB + halfMiB + "one more\n") << fileSizeMiB;
    EXPECT_EQ(dir.Read("app.log"), "next file\n") << fileSizeMiB;
  }
}

TEST(LogWorkTask, DoesNotRotateAfterTwoMiBAtASizeOf4095) {
  const std::string oneMiB = std::string(MiB(1) - 1, 'x') + "\n";
  const ScratchDir dir;
  Channel channel(dir);
  channel.Queue("", oneMiB);
  channel.Queue("", oneMiB);
  channel.state.logQueue.PushExitMarker();

  channel.Work(keepAll, 4095);

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST(LogWorkTask, KeepsAsManyRotatedFilesAsItIsToldTo) {
  const ScratchDir dir;
  Channel channel(dir);
  for (const char* const line : {"1\n", "2\n", "3\n"}) channel.Queue("", line);
  channel.state.logQueue.PushExitMarker();

  channel.Work(2, 0);

  EXPECT_THAT(RotatedNames(dir), ElementsAre("app_20260105090307042-001-4711.log",
                                             "app_20260105090307042-002-4711.log"));
}

// 3 names less -2 make an excess of 5: more than there are, so all of them go.
TEST(LogWorkTask, KeepsNoRotatedFileAtANegativeCount) {
  const ScratchDir dir;
  Channel channel(dir);
  for (const char* const line : {"1\n", "2\n", "3\n"}) channel.Queue("", line);
  channel.state.logQueue.PushExitMarker();

  channel.Work(-2, 0);

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST(LoopWorking, StartsTheQueueWithItsCapacity) {
  const ScratchDir dir;
  ZinLoggerPrivate& state = FacadeState();

  state.LoopWorking(keepAll, 1, 0, "app.log", dir.Path());

  EXPECT_TRUE(state.logQueue.IsRunning());
  EXPECT_FALSE(state.metricsQueue.IsRunning());
  state.forcedLog("", "dropped at capacity 0\n");
  state.StopQueue();
  EXPECT_FALSE(state.logQueue.IsRunning());
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(LoopWorking, StartsARetentionThreadThatMakesAPassAtOnceAndThenSleepsAMinute) {
  const ScratchDir dir;
  dir.AddLogs({{"oldest.log", 100}, {"older.log", 200}, {"newer.log", 300}, {"newest.log", 400}});
  ZinLoggerPrivate& state = FacadeState();
  state.logRunning = true;
  state.logLimits = {3, 1000};

  state.LoopWorking(keepAll, 1, 10, "app.log", dir.Path());
  ASSERT_TRUE(FakeSleep::WaitUntilEntered(1));

  // 4 - 3 + 1 = 2 go.
  EXPECT_THAT(dir.Names(), ElementsAre("newer.log", "newest.log"));
  EXPECT_EQ(FakeSleep::LatestMilliseconds(), 60000u);
}

TEST(LoopWorking, StartsARetentionThreadThatIsNotEndedByAStop) {
  const ScratchDir dir;
  ZinLoggerPrivate& state = FacadeState();
  state.logRunning = true;
  state.logLimits = {2, 1000};
  state.LoopWorking(keepAll, 1, 10, "app.log", dir.Path());
  ASSERT_TRUE(FakeSleep::WaitUntilEntered(1));
  state.StopQueue();
  dir.AddLogs({{"old.log", 100}, {"newer.log", 200}, {"newest.log", 300}});

  FakeSleep::LetOneReturn();
  ASSERT_TRUE(FakeSleep::WaitUntilEntered(2));

  EXPECT_FALSE(dir.Has("old.log"));
}

TEST(LoopWorking, StartsARetentionThreadThatLeavesWhenTheRunningFlagIsNotSet) {
  const ScratchDir dir;
  ZinLoggerPrivate& state = FacadeState();

  state.LoopWorking(keepAll, 1, 10, "app.log", dir.Path());
  state.StopQueue();

  // A thread bears its creator's name until it sets its own, so both are awaited.
  EXPECT_TRUE(WaitUntilTrue([] {
    return ThreadsNamed("zin-log-worker").empty() && ThreadsNamed("zin-log-keeper").empty();
  }));
  EXPECT_EQ(FakeSleep::EnteredCount(), 0);
}

TEST(LoopWorkingForMetrics, StartsARetentionThreadWithTheMetricsLimits) {
  const ScratchDir dir;
  dir.AddLogs({{"oldest.log", 100}, {"older.log", 200}, {"newer.log", 300}, {"newest.log", 400}});
  ZinLoggerPrivate& state = FacadeState();
  state.metricsRunning = true;

  state.LoopWorkingForMetrics(keepAll, 1, 10, "metrics.log", dir.Path());
  ASSERT_TRUE(FakeSleep::WaitUntilEntered(1));

  // The default is 2 files: 4 - 2 + 1 = 3 go.
  EXPECT_THAT(dir.Names(), ElementsAre("newest.log"));
  EXPECT_TRUE(state.metricsQueue.IsRunning());
  EXPECT_FALSE(state.logQueue.IsRunning());
}

TEST(StopQueue, OnlyClearsTheFlagsWhenNeitherChannelRuns) {
  ZinLoggerPrivate& state = FacadeState();
  state.logRunning = true;
  state.metricsRunning = true;
  const CapturedStandardError standardError;

  state.StopQueue();

  EXPECT_FALSE(state.logRunning);
  EXPECT_FALSE(state.metricsRunning);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(ZinGetCacheLog(10), "");
  EXPECT_EQ(state.logQueue.Size() + state.metricsQueue.Size(), 0u);
}

TEST(StopQueue, WritesTheExitLineBeforeItStopsTheChannel) {
  const ScratchDir dir;
  ZinLoggerPrivate& state = FacadeState();
  state.LoopWorking(keepAll, 1, 10, "app.log", dir.Path());

  state.StopQueue();

  EXPECT_FALSE(state.logQueue.IsRunning());
  EXPECT_THAT(dir.Read("app.log"), HasSubstr("[1234] [INFO] [ZinLoggerPrivate:"));
  EXPECT_THAT(dir.Read("app.log"), HasSubstr("] [StopQueue]: @@@@ LOG EXIT @@@@\n"));
}

TEST(StopMetricsQueue, ClearsItsOwnFlagOnly) {
  ZinLoggerPrivate& state = FacadeState();
  state.logRunning = true;
  state.metricsRunning = true;
  const CapturedStandardError standardError;

  state.StopMetricsQueue();

  EXPECT_TRUE(state.logRunning);
  EXPECT_FALSE(state.metricsRunning);
  EXPECT_EQ(standardError.Text(), "");
}

TEST(StopMetricsQueue, SaysSoInTheLogAndStopsItsWorker) {
  const ScratchDir dir;
  ZinLoggerPrivate& state = FacadeState();
  const auto logWorker = state.logQueue.Start();  // a log channel without a worker
  state.logQueue.SetCapacity(10);
  state.LoopWorkingForMetrics(keepAll, 1, 10, "metrics.log", dir.Path());

  state.StopMetricsQueue();

  EXPECT_FALSE(state.metricsQueue.IsRunning());
  EXPECT_TRUE(state.logQueue.IsRunning());
  const LogRecord record = Pop(state.logQueue, logWorker);
  EXPECT_EQ(record.first, "");
  EXPECT_THAT(record.second, HasSubstr("[INFO] [ZinLoggerPrivate:"));
  EXPECT_THAT(record.second, EndsWith("] [StopMetricsQueue]: @@@@ METRICS EXIT @@@@\n"));
}

}  // namespace
