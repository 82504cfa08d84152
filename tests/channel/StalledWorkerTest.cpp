#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "CapturedStandardError.h"
#include "Scenario.h"
#include "Text.h"
#include "Threads.h"
#include "WaitUntilTrue.h"

// A worker that finds a named pipe in the place of its file waits in the open
// for somebody who writes to it: a disk that does not answer, at the test's
// command.

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

void PutPipeInPlaceOf(const std::string& path) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
}

// Lets the worker go on that waits in its open, once it does.
void ReleaseWorkerAt(const std::string& path) {
  const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  (void)close(writer);
}

bool IsRegularFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

TEST(SlowStalledWorker, HoldsUpAStopForTenSecondsAndCannotHarmTheNextChannel) {
  const ScratchDir stalled;
  const ScratchDir next;
  PutPipeInPlaceOf(stalled / "app.log");
  StartLogChannel(stalled);
  LogLine("stuck");
  // The line is in the hands of the worker, and nothing else is queued.
  ASSERT_TRUE(WaitUntilTrue([] {
    const std::vector<pid_t> workers = ThreadsNamed("zin-log-worker");
    return workers.size() == 1 && IsAsleep(workers[0]);
  }));
  const auto start = std::chrono::steady_clock::now();

  Logger().StopSystem();

  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, 9500ms);
  EXPECT_LT(waited, 60s);

  StartLogChannel(next);
  LogLineAndWait(next, "new 1");
  const CapturedStandardError standardError;
  ReleaseWorkerAt(stalled / "app.log");
  EXPECT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").size() == 1; }));

  // The new channel is still on: its lines reach its file.
  LogLine("new 2");
  Logger().StopSystem();
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-log-worker").empty(); }));

  // What the old worker held went where it was meant to go; what was still
  // queued when its time was up, the first stop's exit line, the new one wrote.
  EXPECT_TRUE(IsRegularFile(stalled / "app.log"));
  EXPECT_THAT(OwnMessages(stalled, "app.log"), ElementsAre("stuck"));
  EXPECT_THAT(OwnMessages(next, "app.log"), ElementsAre("new 1", "new 2"));
  const std::vector<std::string> messages = MessagesOf(next.LinesOf("app.log"));
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "@@@@ LOG EXIT @@@@"), 2);
}

TEST(SlowStalledWorker, OfTheMetricsChannelHoldsUpItsStopAndNotTheLog) {
  const ScratchDir dir;
  ASSERT_EQ(mkdir((dir / "metrics").c_str(), 0755), 0);
  PutPipeInPlaceOf(dir / "metrics/metrics.log");
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");
  Logger().Metrics("stuck");
  const auto start = std::chrono::steady_clock::now();

  Logger().StopMetricSystem();

  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, 9500ms);
  EXPECT_LT(waited, 60s);
  LogLineAndWait(dir, "the log goes on");
  ReleaseWorkerAt(dir / "metrics/metrics.log");
  // The marker is still queued, so the worker leaves of its own accord.
  EXPECT_TRUE(WaitUntilTrue([] { return ThreadsNamed("zin-met-worker").empty(); }));
  EXPECT_EQ(dir.Read("metrics/metrics.log"), "stuck\n");
  Logger().StopSystem();
}

TEST(StalledWorker, NeverHoldsUpALogCall) {
  const ScratchDir dir;
  PutPipeInPlaceOf(dir / "app.log");
  StartLogChannel(dir);
  const auto start = std::chrono::steady_clock::now();

  LogNumberedLines(1000);

  EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
  ReleaseWorkerAt(dir / "app.log");
  Logger().StopSystem();
  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(1000));
}

}  // namespace
