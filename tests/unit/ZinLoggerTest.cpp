#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "JoiningThread.h"
#include "LogCalls.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

using ::testing::Each;

namespace {

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

static_assert(!std::is_copy_constructible_v<ZinLogger>);
static_assert(!std::is_copy_assignable_v<ZinLogger>);
static_assert(!std::is_default_constructible_v<ZinLogger>);
static_assert(!std::is_polymorphic_v<ZinLogger>);
static_assert(noexcept(ZinLogger::GetInstance()));
static_assert(noexcept(std::declval<ZinLogger&>().Log("", 1, "", "", "", INFO, "x")));
static_assert(noexcept(std::declval<ZinLogger&>().Metrics("x")));
static_assert(sizeof(ZinLogger) == sizeof(void*) + 8192);

TEST(ZinLogger, IsTheSameObjectInEveryThread) {
  std::array<ZinLogger*, 8> seen{};
  {
    std::vector<JoiningThread> threads;
    for (ZinLogger*& mine : seen) {
      threads.emplace_back([&mine] { mine = ZinLogger::GetInstance(); });
    }
  }
  EXPECT_NE(seen[0], nullptr);
  EXPECT_THAT(seen, Each(&Logger()));
}

TEST(ZinLogger, StartsWithItsDefaults) {
  const ZinLoggerPrivate& state = FacadeState();
  EXPECT_EQ(state.logLevel, INFO);
  EXPECT_FALSE(state.spareFlag);
  EXPECT_FALSE(state.logRunning);
  EXPECT_FALSE(state.metricsRunning);
  EXPECT_EQ(state.logLimits.maxFileCount, 100U);
  EXPECT_EQ(state.logLimits.maxTotalSizeMiB, 10U);
  EXPECT_EQ(state.metricsLimits.maxFileCount, 2U);
  EXPECT_EQ(state.metricsLimits.maxTotalSizeMiB, 2U);
  EXPECT_EQ(state.traceSessionId, -1);
  EXPECT_EQ(state.clientMetricsLogDir, "");
  EXPECT_EQ(state.logName, "");
  EXPECT_EQ(state.metricsCount.load(), 0);
  EXPECT_EQ(state.metricsPrivSwitch, 0);
  EXPECT_FALSE(state.logQueue.IsRunning());
  EXPECT_EQ(state.logQueue.Size(), 0U);
  EXPECT_FALSE(state.metricsQueue.IsRunning());
  EXPECT_EQ(state.metricsQueue.Size(), 0U);
}

TEST(ZinLogger, StartsWithNoLogName) {
  EXPECT_EQ(Logger().GetLogName(), "");
}

TEST(ZinLogger, StartsWithAZeroedMetricsBufferBehindThePointer) {
  std::array<char, 8192> buffer;
  buffer.fill('#');
  std::memcpy(buffer.data(), reinterpret_cast<const char*>(&Logger()) + sizeof(void*),
              buffer.size());
  EXPECT_THAT(buffer, Each('\0'));
}

TEST(ZinLogger, KeepsTheFieldsOfItsRecordInOrder) {
  const ZinLoggerPrivate& state = FacadeState();
  const std::array<const void*, 13> fields = {
      &state.logLevel,       &state.spareFlag,           &state.logRunning,
      &state.metricsRunning, &state.logLimits,           &state.metricsLimits,
      &state.traceSessionId, &state.clientMetricsLogDir, &state.logName,
      &state.metricsCount,   &state.metricsPrivSwitch,   &state.logQueue,
      &state.metricsQueue};
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<const void*>()));
}

TEST(ZinLogger, StoresAnyThresholdUnchanged) {
  for (const int level : {-1, 0, 4, 5, INT_MIN, INT_MAX}) {
    Logger().SetLogLevel(static_cast<LogLevel>(level));
    EXPECT_EQ(static_cast<int>(FacadeState().logLevel), level);
  }
}

TEST(ZinLogger, StoresAnyLogLimitsUnchanged) {
  Logger().LimitLogPathSize(7, 9);
  EXPECT_EQ(FacadeState().logLimits.maxFileCount, 7U);
  EXPECT_EQ(FacadeState().logLimits.maxTotalSizeMiB, 9U);
  Logger().LimitLogPathSize(0, UINT_MAX);
  EXPECT_EQ(FacadeState().logLimits.maxFileCount, 0U);
  EXPECT_EQ(FacadeState().logLimits.maxTotalSizeMiB, UINT_MAX);
}

TEST(ZinLogger, LeavesTheMetricsLimitsAloneWhenItStoresTheLogLimits) {
  Logger().LimitLogPathSize(7, 9);
  EXPECT_EQ(FacadeState().metricsLimits.maxFileCount, 2U);
  EXPECT_EQ(FacadeState().metricsLimits.maxTotalSizeMiB, 2U);
}

TEST(ZinLogger, StoresAnySessionIdUnchanged) {
  for (const int id : {0, 77, INT_MIN, INT_MAX}) {
    Logger().ZinTraceSetSessionId(id);
    EXPECT_EQ(FacadeState().traceSessionId, id);
  }
}

TEST(ZinLogger, PrintsTheSessionIdNowhere) {
  const CapturedStandardError standardError;
  Logger().ZinTraceSetSessionId(987654);
  LogText(INFO, "hello");
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n");
}

}  // namespace
