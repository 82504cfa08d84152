#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FacadeState.h"
#include "FakeIds.h"
#include "FakeSleep.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

using ::testing::IsEmpty;

namespace {

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

std::string ClientDirFor(const std::string& baseDir) {
  Logger().SetClientMetricsLogDir(baseDir);
  return Logger().GetClientMetricsLogDir();
}

// ---- Client ------------------------------------------------------------------

TEST(ClientMetricsLogDir, IsEmptyAtFirst) {
  EXPECT_EQ(Logger().GetClientMetricsLogDir(), "");
}

TEST(ClientMetricsLogDir, LiesBelowTheBase) {
  EXPECT_EQ(ClientDirFor("/data/app"), "/data/app/metrics");
  EXPECT_EQ(ClientDirFor("relative"), "relative/metrics");
  EXPECT_EQ(ClientDirFor("."), "./metrics");
}

TEST(ClientMetricsLogDir, DoesNotDoubleATrailingSeparator) {
  EXPECT_EQ(ClientDirFor("/data/app/"), "/data/app/metrics");
}

TEST(ClientMetricsLogDir, MayLieBelowTheRoot) {
  EXPECT_EQ(ClientDirFor("/"), "/metrics");
}

TEST(ClientMetricsLogDir, KeepsEverythingElseOfTheBase) {
  EXPECT_EQ(ClientDirFor("/data//app///"), "/data//app///metrics");
  EXPECT_EQ(ClientDirFor("/data/../app\\"), "/data/../app\\/metrics");
}

TEST(ClientMetricsLogDir, IsUnchangedByAnEmptyBase) {
  EXPECT_EQ(ClientDirFor(""), "");
  EXPECT_EQ(ClientDirFor("/data/app"), "/data/app/metrics");
  EXPECT_EQ(ClientDirFor(""), "/data/app/metrics");
}

TEST(ClientMetricsLogDir, IsTheLastOneSet) {
  EXPECT_EQ(ClientDirFor("/data/app"), "/data/app/metrics");
  EXPECT_EQ(ClientDirFor("/data/other"), "/data/other/metrics");
}

TEST(ClientMetricsLogDir, IsKeptInTheRecordAsItStands) {
  FacadeState().SetClientMetricsLogDir("anything//");
  EXPECT_EQ(FacadeState().clientMetricsLogDir, "anything//");
  EXPECT_EQ(Logger().GetClientMetricsLogDir(), "anything//");
  FacadeState().SetClientMetricsLogDir("");
  EXPECT_EQ(Logger().GetClientMetricsLogDir(), "");
}

TEST(ClientMetricsLogDir, IsHandedOutAsACopy) {
  std::string copy = ClientDirFor("/data/app");
  copy += "/more";
  EXPECT_EQ(Logger().GetClientMetricsLogDir(), "/data/app/metrics");
}

TEST(ClientMetricsLogDir, IsNotCreated) {
  const ScratchDir dir;
  EXPECT_EQ(ClientDirFor(dir.Path()), dir / "metrics");
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(ClientMetricsLogDir, NeedsAStartWithoutTheLogRequirementUnlessItsBaseHoldsLog) {
  const ScratchDir dir;
  const ScopedWorkingDirectory working(dir.Path());
  const std::string client = ClientDirFor("app");
  EXPECT_FALSE(Logger().StartSystemForMetrics("m.log", client.c_str(), 5, 10, 100, true));
  EXPECT_TRUE(Logger().StartSystemForMetrics("m.log", client.c_str(), 5, 10, 100, false));
  const std::string clientOfLogBase = ClientDirFor("app_log");
  EXPECT_TRUE(Logger().StartSystemForMetrics("m.log", clientOfLogBase.c_str(), 5, 10, 100, true));
  EXPECT_TRUE(FakeSleep::WaitUntilEntered(2));
  Logger().StopMetricSystem();
}

// ---- Server ------------------------------------------------------------------

TEST(ServerMetricsLogDir, EndsInTheProcessName) {
  EXPECT_EQ(Logger().GetServerMetricsLogDir(), "/var/log/qorlog/serverlog/metrics/demo");
  FakeIds::SetProcessName("agent");
  EXPECT_EQ(Logger().GetServerMetricsLogDir(), "/var/log/qorlog/serverlog/metrics/agent");
}

TEST(ServerMetricsLogDir, EndsInASeparatorWhenTheProcessHasNoName) {
  FakeIds::SetProcessName("");
  EXPECT_EQ(Logger().GetServerMetricsLogDir(), "/var/log/qorlog/serverlog/metrics/");
}

TEST(ServerMetricsLogDir, DoesNotDependOnTheClientDirectory) {
  Logger().SetClientMetricsLogDir("/data/app");
  EXPECT_EQ(Logger().GetServerMetricsLogDir(), "/var/log/qorlog/serverlog/metrics/demo");
}

}  // namespace
