#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "CapturedStandardError.h"
#include "OpenQueue.h"
#include "ZinLoggerPrivate.h"

using namespace std::chrono_literals;

namespace {

// Starts a queue as a channel does, but without a worker.
BlockingQueue::Generation StartQueue(BlockingQueue& queue, std::uint64_t capacity) {
  queue.SetCapacity(capacity);
  return queue.Start();
}

TEST(ZinLoggerPrivate, BeginsWithTheDocumentedDefaults) {
  const ZinLoggerPrivate state;

  EXPECT_EQ(state.logLevel, INFO);
  EXPECT_FALSE(state.spareFlag);
  EXPECT_FALSE(state.logRunning);
  EXPECT_FALSE(state.metricsRunning);
  EXPECT_EQ(state.logLimits.maxFileCount, 100u);
  EXPECT_EQ(state.logLimits.maxTotalSizeMiB, 10u);
  EXPECT_EQ(state.metricsLimits.maxFileCount, 2u);
  EXPECT_EQ(state.metricsLimits.maxTotalSizeMiB, 2u);
  EXPECT_EQ(state.traceSessionId, -1);
  EXPECT_EQ(state.clientMetricsLogDir, "");
  EXPECT_EQ(state.logName, "");
  EXPECT_EQ(state.metricsCount, 0);
  EXPECT_EQ(state.metricsPrivSwitch, 0);
}

TEST(ZinLoggerPrivate, BeginsWithTwoEmptyQueuesThatDoNotRun) {
  const ZinLoggerPrivate state;

  EXPECT_FALSE(state.logQueue.IsRunning());
  EXPECT_EQ(state.logQueue.Size(), 0u);
  EXPECT_FALSE(state.metricsQueue.IsRunning());
  EXPECT_EQ(state.metricsQueue.Size(), 0u);
}

TEST(ZinLoggerPrivate, BeginsWithQueuesOfCapacityZero) {
  ZinLoggerPrivate state;
  state.logQueue.Start();
  state.metricsQueue.Start();

  state.forcedLog("", "line\n");
  state.forcedLogForMetrics("record\n");

  EXPECT_EQ(state.logQueue.Size(), 0u);
  EXPECT_EQ(state.metricsQueue.Size(), 0u);
}

TEST(ForcedLog, WritesToStandardErrorAsItStandsWhileTheChannelDoesNotRun) {
  ZinLoggerPrivate state;
  const CapturedStandardError standardError;

  state.forcedLog("net", "with a newline\n");
  state.forcedLog("", "without one, %d as it is");

  EXPECT_EQ(standardError.Text(), "with a newline\nwithout one, %d as it is");
  EXPECT_EQ(state.logQueue.Size(), 0u);
}

TEST(ForcedLog, WritesToStandardErrorWhenOnlyTheMetricsChannelRuns) {
  ZinLoggerPrivate state;
  StartQueue(state.metricsQueue, 10);
  const CapturedStandardError standardError;

  state.forcedLog("", "line\n");

  EXPECT_EQ(standardError.Text(), "line\n");
  EXPECT_EQ(state.metricsQueue.Size(), 0u);
}

TEST(ForcedLog, QueuesKeyAndLineWhileTheChannelRuns) {
  ZinLoggerPrivate state;
  const auto worker = StartQueue(state.logQueue, 10);
  const CapturedStandardError standardError;

  state.forcedLog("net", "line\n");

  EXPECT_EQ(Pop(state.logQueue, worker), LogRecord("net", "line\n"));
  EXPECT_EQ(standardError.Text(), "");
}

TEST(ForcedLog, DropsTheLineSilentlyWhenTheQueueIsFull) {
  ZinLoggerPrivate state;
  StartQueue(state.logQueue, 1);
  const CapturedStandardError standardError;

  state.forcedLog("", "fits\n");
  state.forcedLog("", "does not\n");

  EXPECT_EQ(state.logQueue.Size(), 1u);
  EXPECT_EQ(standardError.Text(), "");
}

TEST(ForcedLog, ThrowsForANullTextWhileTheChannelRuns) {
  ZinLoggerPrivate state;
  StartQueue(state.logQueue, 10);

  EXPECT_THROW(state.forcedLog(nullptr, "line\n"), std::logic_error);
  EXPECT_THROW(state.forcedLog("", nullptr), std::logic_error);

  EXPECT_EQ(state.logQueue.Size(), 0u);
}

TEST(ForcedLog, WritesToStandardErrorAgainAfterTheChannelHasStopped) {
  ZinLoggerPrivate state;
  state.logQueue.MarkStopped(StartQueue(state.logQueue, 10));
  const CapturedStandardError standardError;

  state.forcedLog("", "line\n");

  EXPECT_EQ(standardError.Text(), "line\n");
}

TEST(ForcedLog, OnlySetsTheBadBitOfStandardErrorForANullLine) {
  ZinLoggerPrivate state;
  const CapturedStandardError standardError;

  state.forcedLog("", nullptr);

  EXPECT_TRUE(std::cerr.bad());
  EXPECT_EQ(standardError.Text(), "");
  std::cerr.clear();
}

TEST(ForcedLog, WritesTheLineThatFollowsANullLine) {
  ZinLoggerPrivate state;
  const CapturedStandardError standardError;
  state.forcedLog("", nullptr);

  state.forcedLog("", "next\n");

  EXPECT_EQ(standardError.Text(), "next\n");
  EXPECT_TRUE(std::cerr.good());
}

TEST(ForcedLog, TriesEachLineAfreshWhenStandardErrorWasLeftBad) {
  ZinLoggerPrivate state;
  const CapturedStandardError standardError;
  std::cerr.setstate(std::ios_base::failbit | std::ios_base::badbit);

  state.forcedLog("", "line\n");

  EXPECT_EQ(standardError.Text(), "line\n");
}

TEST(ForcedLogForMetrics, WritesToStandardErrorAsItStandsWhileTheChannelDoesNotRun) {
  ZinLoggerPrivate state;
  StartQueue(state.logQueue, 10);  // that of the log channel is of no interest
  const CapturedStandardError standardError;

  state.forcedLogForMetrics("with a newline\n");
  state.forcedLogForMetrics("without one");

  EXPECT_EQ(standardError.Text(), "with a newline\nwithout one");
  EXPECT_EQ(state.logQueue.Size(), 0u);
}

TEST(ForcedLogForMetrics, QueuesTheRecordForTheChannelsOwnDirectory) {
  ZinLoggerPrivate state;
  const auto worker = StartQueue(state.metricsQueue, 10);
  const CapturedStandardError standardError;

  state.forcedLogForMetrics("record\n");

  EXPECT_EQ(Pop(state.metricsQueue, worker), LogRecord("", "record\n"));
  EXPECT_EQ(standardError.Text(), "");
}

TEST(ForcedLogForMetrics, ThrowsForANullTextWhileTheChannelRuns) {
  ZinLoggerPrivate state;
  StartQueue(state.metricsQueue, 10);

  EXPECT_THROW(state.forcedLogForMetrics(nullptr), std::logic_error);

  EXPECT_EQ(state.metricsQueue.Size(), 0u);
}

TEST(ForcedLogForMetrics, DropsTheRecordSilentlyWhenTheQueueIsFull) {
  ZinLoggerPrivate state;
  StartQueue(state.metricsQueue, 1);
  const CapturedStandardError standardError;

  state.forcedLogForMetrics("fits\n");
  state.forcedLogForMetrics("does not\n");

  EXPECT_EQ(state.metricsQueue.Size(), 1u);
  EXPECT_EQ(standardError.Text(), "");
}

TEST(ForcedLogForMetrics, OnlySetsTheBadBitOfStandardErrorForANullText) {
  ZinLoggerPrivate state;
  const CapturedStandardError standardError;

  state.forcedLogForMetrics(nullptr);

  EXPECT_TRUE(std::cerr.bad());
  EXPECT_EQ(standardError.Text(), "");
  std::cerr.clear();
}

TEST(PushExitMarkers, AsksTheWorkersOfBothRunningChannelsToLeave) {
  ZinLoggerPrivate state;
  const auto logWorker = StartQueue(state.logQueue, 0);
  const auto metricsWorker = StartQueue(state.metricsQueue, 0);

  state.PushExitMarkers();

  EXPECT_EQ(Pop(state.logQueue, logWorker), LogRecord());
  EXPECT_EQ(Pop(state.metricsQueue, metricsWorker), LogRecord());
}

TEST(PushExitMarkers, LeavesAChannelAloneThatDoesNotRun) {
  ZinLoggerPrivate state;
  StartQueue(state.metricsQueue, 10);

  state.PushExitMarkers();

  EXPECT_EQ(state.logQueue.Size(), 0u);
  EXPECT_EQ(state.metricsQueue.Size(), 1u);
}

TEST(PushExitMarkers, LeavesTheMetricsChannelAloneWhenOnlyTheLogChannelRuns) {
  ZinLoggerPrivate state;
  StartQueue(state.logQueue, 10);

  state.PushExitMarkers();

  EXPECT_EQ(state.logQueue.Size(), 1u);
  EXPECT_EQ(state.metricsQueue.Size(), 0u);
}

TEST(ZinLoggerPrivate, IsDestroyedWithoutWaitingForAWorker) {
  auto state = std::make_unique<ZinLoggerPrivate>();
  StartQueue(state->logQueue, 10);
  StartQueue(state->metricsQueue, 10);
  state->forcedLog("", "left over\n");
  const auto start = std::chrono::steady_clock::now();

  state.reset();  // no worker will ever mark these queues stopped

  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(SetClientMetricsLogDir, StoresTheTextAsItStands) {
  ZinLoggerPrivate state;

  state.SetClientMetricsLogDir("some//dir/ ");
  EXPECT_EQ(state.clientMetricsLogDir, "some//dir/ ");

  state.SetClientMetricsLogDir("");
  EXPECT_EQ(state.clientMetricsLogDir, "");
}

TEST(ZinLoggerPrivate, IsStoppedAndEmptyInAChildOfFork) {
  ZinLoggerPrivate state;
  state.logRunning = true;
  state.metricsRunning = true;
  StartQueue(state.logQueue, 10);
  StartQueue(state.metricsQueue, 10);
  state.forcedLog("", "the parent's\n");
  state.forcedLogForMetrics("the parent's\n");

  state.LockForFork();
  state.ResetInChild();

  EXPECT_FALSE(state.logRunning);
  EXPECT_FALSE(state.metricsRunning);
  EXPECT_FALSE(state.logQueue.IsRunning());
  EXPECT_FALSE(state.metricsQueue.IsRunning());
  EXPECT_EQ(state.logQueue.Size() + state.metricsQueue.Size(), 0u);
  EXPECT_TRUE(state.metricsBufferMutex.try_lock());
  state.metricsBufferMutex.unlock();
}

}  // namespace
