#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "FakeIds.h"
#include "FakeSleep.h"
#include "LogCalls.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

using ::testing::IsEmpty;

namespace {

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

bool Start(const char* name, const char* directory, bool requireLogInDir) {
  return Logger().StartSystemForMetrics(name, directory, 5, 10, 1000, requireLogInDir);
}

// ---- Refused -----------------------------------------------------------------

TEST(StartSystemForMetrics, RefusesANullNameAndLeavesTheFlagSet) {
  EXPECT_FALSE(Start(nullptr, "/var/log", false));
  EXPECT_TRUE(FacadeState().metricsRunning);
  EXPECT_FALSE(FacadeState().metricsQueue.IsRunning());
}

TEST(StartSystemForMetrics, StopsNoChannelForANullName) {
  FacadeState().logRunning = true;
  EXPECT_FALSE(Start(nullptr, "/var/log", false));
  EXPECT_TRUE(FacadeState().logRunning);
}

TEST(StartSystemForMetrics, CreatesNoDirectoryForANullName) {
  const ScratchDir dir;
  EXPECT_FALSE(Start(nullptr, (dir / "metrics").c_str(), false));
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(StartSystemForMetrics, RefusesANameThatTheLogChannelWouldRefuse) {
  const ScratchDir dir;
  for (const char* const name : {"m.txt", "a/m.log", "m.log.log", ""}) {
    EXPECT_FALSE(Start(name, (dir / "metrics").c_str(), false)) << name;
  }
  EXPECT_TRUE(FacadeState().metricsRunning);
  EXPECT_FALSE(FacadeState().metricsQueue.IsRunning());
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(StartSystemForMetrics, RefusesADirectoryWithoutLogWhenItIsRequired) {
  const ScratchDir dir;
  const ScopedWorkingDirectory working(dir.Path());
  EXPECT_FALSE(Start("m.log", "data", true));
  EXPECT_TRUE(FacadeState().metricsRunning);
  EXPECT_FALSE(FacadeState().metricsQueue.IsRunning());
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(StartSystemForMetrics, PrintsNothingWhenItRefuses) {
  const CapturedStandardError standardError;
  EXPECT_FALSE(Start("m.txt", "/var/log", true));
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(StartSystemForMetrics, KeepsCountAndSwitchWhenItRefuses) {
  const CapturedStandardError standardError;
  Logger().Metrics("a");
  Logger().MetricsGetPrivSwitch(3);
  EXPECT_FALSE(Start("m.txt", "/var/log", true));
  EXPECT_EQ(Logger().GetMetricsCount(), 1);
  EXPECT_EQ(FacadeState().metricsPrivSwitch, 3);
}

// ---- Accepted ----------------------------------------------------------------

TEST(StartSystemForMetrics, AcceptsADirectoryWithoutLogWhenItIsNotRequired) {
  const ScratchDir dir;
  const ScopedWorkingDirectory working(dir.Path());
  EXPECT_TRUE(Start("m.log", "data", false));
  EXPECT_TRUE(FakeSleep::WaitUntilEntered(1));
  EXPECT_TRUE(FacadeState().metricsQueue.IsRunning());
  EXPECT_FALSE(FacadeState().logQueue.IsRunning());
  EXPECT_FALSE(FacadeState().logRunning);
  Logger().StopMetricSystem();
}

TEST(StartSystemForMetrics, CreatesTheDirectoryWithItsMode) {
  const ScratchDir dir;
  const ScopedUmask none(0);
  EXPECT_TRUE(Start("m.log", (dir / "metrics").c_str(), true));
  EXPECT_EQ(dir.ModeOf("metrics"), 0770U);
  Logger().StopMetricSystem();
}

TEST(StartSystemForMetrics, LeavesTheModeOfTheDirectoryToTheUmask) {
  const ScratchDir dir;
  const ScopedUmask strict(027);
  EXPECT_TRUE(Start("m.log", (dir / "metrics").c_str(), true));
  EXPECT_EQ(dir.ModeOf("metrics"), 0750U);
  Logger().StopMetricSystem();
}

TEST(StartSystemForMetrics, CreatesOneLevelOnlyAndAcceptsAMissingParent) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("m.log", (dir / "missing/metrics").c_str(), true));
  EXPECT_FALSE(dir.Has("missing"));
  Logger().StopMetricSystem();
}

TEST(StartSystemForMetrics, LeavesADirectoryWithoutParentToTheWorkerAndItsMode) {
  const ScratchDir dir;
  const ScopedUmask none(0);
  EXPECT_TRUE(Start("m.log", (dir / "missing/metrics").c_str(), true));
  Logger().Metrics("x=%d", 1);
  Logger().StopMetricSystem();
  EXPECT_EQ(dir.ModeOf("missing"), 0750U);
  EXPECT_EQ(dir.ModeOf("missing/metrics"), 0750U);
}

TEST(StartSystemForMetrics, LeavesAnExistingDirectoryAsItIs) {
  const ScratchDir dir;
  const mode_t before = dir.ModeOf("");
  EXPECT_TRUE(Start("m.log", dir.Path().c_str(), true));
  EXPECT_EQ(dir.ModeOf(""), before);
  Logger().StopMetricSystem();
}

TEST(StartSystemForMetrics, TakesANullDirectoryForTheWorkingDirectory) {
  const ScratchDir dir;
  const ScopedWorkingDirectory working(dir.Path());
  EXPECT_TRUE(Start("m.log", nullptr, true));
  EXPECT_TRUE(FakeSleep::WaitUntilEntered(1));
  Logger().Metrics("a=1");
  Logger().StopMetricSystem();
  EXPECT_EQ(dir.Read("m.log"), "a=1\n");
}

TEST(StartSystemForMetrics, KeepsNoFileNameAndNoLevel) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("m.log", dir.Path().c_str(), true));
  EXPECT_EQ(Logger().GetLogName(), "");
  EXPECT_EQ(FacadeState().logLevel, INFO);
  Logger().StopMetricSystem();
}

TEST(StartSystemForMetrics, KeepsCountAndSwitchAcrossStopAndStart) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("m.log", dir.Path().c_str(), true));
  Logger().Metrics("a=1");
  Logger().MetricsGetPrivSwitch(3);
  Logger().StopMetricSystem();
  EXPECT_TRUE(Start("m.log", dir.Path().c_str(), true));
  EXPECT_EQ(Logger().GetMetricsCount(), 1);
  EXPECT_EQ(FacadeState().metricsPrivSwitch, 3);
  Logger().StopMetricSystem();
}

TEST(StopMetricSystem, OnlyClearsItsFlagWhenNothingRuns) {
  const CapturedStandardError standardError;
  FacadeState().logRunning = true;
  FacadeState().metricsRunning = true;
  Logger().StopMetricSystem();
  EXPECT_FALSE(FacadeState().metricsRunning);
  EXPECT_TRUE(FacadeState().logRunning);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

// ---- Limits and names --------------------------------------------------------

TEST(LimitMetricsPathSize, StoresAnyLimitsUnchanged) {
  Logger().LimitMetricsPathSize(7, 9);
  EXPECT_EQ(FacadeState().metricsLimits.maxFileCount, 7U);
  EXPECT_EQ(FacadeState().metricsLimits.maxTotalSizeMiB, 9U);
  Logger().LimitMetricsPathSize(0, UINT_MAX);
  EXPECT_EQ(FacadeState().metricsLimits.maxFileCount, 0U);
  EXPECT_EQ(FacadeState().metricsLimits.maxTotalSizeMiB, UINT_MAX);
}

TEST(LimitMetricsPathSize, LeavesTheLogLimitsAlone) {
  Logger().LimitMetricsPathSize(7, 9);
  EXPECT_EQ(FacadeState().logLimits.maxFileCount, 100U);
  EXPECT_EQ(FacadeState().logLimits.maxTotalSizeMiB, 10U);
}

TEST(GetMetricsLogName, HoldsTheProcessIdWhenAskedTo) {
  EXPECT_STREQ(Logger().GetMetricsLogName(true), "metrics_4711.log");
  EXPECT_STREQ(Logger().GetMetricsLogName(false), "metrics.log");
}

TEST(GetMetricsLogName, StaysWhereItIs) {
  const char* const perProcess = Logger().GetMetricsLogName(true);
  const char* const shared = Logger().GetMetricsLogName(false);
  FakeIds::SetProcessId(4712);
  EXPECT_EQ(Logger().GetMetricsLogName(true), perProcess);
  EXPECT_EQ(Logger().GetMetricsLogName(false), shared);
  EXPECT_STREQ(perProcess, "metrics_4711.log");
}

TEST(GetMetricsLogName, IsANameThatTheStartAccepts) {
  const ScratchDir dir;
  EXPECT_TRUE(Start(Logger().GetMetricsLogName(true), dir.Path().c_str(), true));
  EXPECT_TRUE(Start(Logger().GetMetricsLogName(false), dir.Path().c_str(), true));
  Logger().StopMetricSystem();
}

}  // namespace
