#include <gtest/gtest.h>

#include <cstdlib>

#include "FacadeState.h"
#include "LogCalls.h"
#include "OpenQueue.h"
#include "ZinLoggerPrivate.h"

using ::testing::ExitedWithCode;

namespace {

// The children here end by exit, so that their exit handlers run, too.

TEST(AtFork, SendsTheLinesOfAChildToStandardErrorWhileItsParentsChannelsRun) {
  OpenQueue logQueue(FacadeState().logQueue);
  OpenQueue metricsQueue(FacadeState().metricsQueue);

  const auto logInChild = [] {
    LogText(INFO, "of the child");
    ZinLogger::GetInstance()->Metrics("%s", "a record");
    std::exit(0);
  };
  EXPECT_EXIT(logInChild(), ExitedWithCode(0), "of the child\na record\n");

  EXPECT_EQ(logQueue.Size(), 0u);
  EXPECT_EQ(metricsQueue.Size(), 0u);
}

TEST(AtFork, LeavesTheParentsChannelsRunning) {
  OpenQueue queue(FacadeState().logQueue);
  EXPECT_EXIT(std::exit(7), ExitedWithCode(7), "");

  LogText(INFO, "of the parent");

  EXPECT_EQ(queue.Take().second, infoHeader + "of the parent\n");
}

TEST(AtFork, LeavesTheChildACacheThatItCanUse) {
  LogText(WARN, "before");
  (void)TakeCachedLines();
  LogText(INFO, "of the parent");

  const auto countInChild = [] {
    LogText(INFO, "of the child");
    std::exit(TakeCachedLines() == infoHeader + "of the parent\n" + infoHeader + "of the child\n"
                  ? 0
                  : 1);
  };
  EXPECT_EXIT(countInChild(), ExitedWithCode(0), "of the child");
}

}  // namespace
