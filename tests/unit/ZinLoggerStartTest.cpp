#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "FakeSleep.h"
#include "LogCalls.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"
#include "WaitUntilTrue.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

bool Start(const char* name, const char* directory, LogLevel level = INFO) {
  return Logger().StartSystem(name, directory, 5, 10, level, 1000, true);
}

// ---- Refused -----------------------------------------------------------------

TEST(StartSystem, RefusesADirectoryWithoutLog) {
  EXPECT_FALSE(Start("app.log", "/tmp/data"));
}

TEST(StartSystem, RefusesANameWithASlash) {
  EXPECT_FALSE(Start("logs/app.log", "/var/log"));
}

TEST(StartSystem, RefusesAnotherSuffix) {
  EXPECT_FALSE(Start("app.txt", "/var/log"));
}

TEST(StartSystem, ChecksTheDirectoryWhateverTheLastArgumentSays) {
  EXPECT_FALSE(Logger().StartSystem("app.log", "/tmp/data", 5, 10, INFO, 1000, false));
  EXPECT_FALSE(Logger().StartSystem("app.log", "/tmp/data", 5, 10, INFO, 1000, true));
}

TEST(StartSystem, LeavesLevelAndFlagBehindWhenRefused) {
  EXPECT_FALSE(Start("app.txt", "/var/log", DEBUG));
  EXPECT_EQ(FacadeState().logLevel, DEBUG);
  EXPECT_TRUE(FacadeState().logRunning);
}

TEST(StartSystem, ChangesNothingElseWhenRefused) {
  EXPECT_FALSE(Start("app.txt", "/var/log"));
  EXPECT_EQ(Logger().GetLogName(), "");
  EXPECT_FALSE(FacadeState().metricsRunning);
  EXPECT_FALSE(FacadeState().logQueue.IsRunning());
  EXPECT_FALSE(FacadeState().metricsQueue.IsRunning());
}

TEST(StartSystem, PrintsNothingWhenRefused) {
  const CapturedStandardError standardError;
  EXPECT_FALSE(Start("app.txt", "/var/log"));
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(StartSystem, KeepsSendingLinesToStandardErrorWhenRefused) {
  const CapturedStandardError standardError;
  EXPECT_FALSE(Start("app.txt", "/var/log"));
  LogText(INFO, "still here");
  EXPECT_EQ(standardError.Text(), infoHeader + "still here\n");
}

// ---- Accepted ----------------------------------------------------------------

TEST(StartSystem, AcceptsADirectoryWithLogInOtherLetters) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("app.log", (dir / "Log").c_str()));
  EXPECT_TRUE(FacadeState().logQueue.IsRunning());
  EXPECT_TRUE(FacadeState().logRunning);
  EXPECT_FALSE(FacadeState().metricsRunning);
  Logger().StopSystem();
}

TEST(StartSystem, RemembersTheAcceptedNameEvenAfterTheStop) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("app.log", dir.Path().c_str()));
  EXPECT_EQ(Logger().GetLogName(), "app.log");
  Logger().StopSystem();
  EXPECT_EQ(Logger().GetLogName(), "app.log");
}

TEST(StartSystem, RemembersTheLastAcceptedNameWhenALaterOneIsRefused) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("app.log", dir.Path().c_str()));
  EXPECT_FALSE(Start("other.txt", dir.Path().c_str()));
  EXPECT_EQ(Logger().GetLogName(), "app.log");
  Logger().StopSystem();
}

TEST(StartSystem, AcceptsAnyNameOfThreeCharacters) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("abc", dir.Path().c_str()));
  EXPECT_EQ(Logger().GetLogName(), "abc");
  Logger().StopSystem();
}

TEST(StartSystem, CreatesNoDirectory) {
  const ScratchDir dir;
  Logger().SetLogLevel(WARN);
  EXPECT_TRUE(Start("app.log", (dir / "logs").c_str(), WARN));
  EXPECT_TRUE(FakeSleep::WaitUntilEntered(1));  // the first retention pass is over
  Logger().StopSystem();                        // the exit line is below the threshold
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(StartSystem, TakesANullDirectoryForTheWorkingDirectory) {
  const ScratchDir dir;
  const ScopedWorkingDirectory working(dir.Path());
  EXPECT_TRUE(Start("app.log", nullptr));
  EXPECT_TRUE(FakeSleep::WaitUntilEntered(1));
  LogText(INFO, "hello");
  Logger().StopSystem();
  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST(StartSystem, StoresAnyThresholdUnchanged) {
  const ScratchDir dir;
  for (const int level : {-1, 4, 5, INT_MIN, INT_MAX}) {
    EXPECT_TRUE(Start("app.log", dir.Path().c_str(), static_cast<LogLevel>(level)));
    EXPECT_EQ(static_cast<int>(FacadeState().logLevel), level);
  }
  Logger().StopSystem();
}

// ---- Null name ---------------------------------------------------------------

TEST(StartSystem, StopsBothChannelsForANullName) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("app.log", dir.Path().c_str()));
  EXPECT_TRUE(Logger().StartSystemForMetrics("m.log", dir.Path().c_str(), 5, 10, 1000, true));

  EXPECT_TRUE(Start(nullptr, dir.Path().c_str()));

  EXPECT_FALSE(FacadeState().logQueue.IsRunning());
  EXPECT_FALSE(FacadeState().metricsQueue.IsRunning());
  EXPECT_FALSE(FacadeState().logRunning);
  EXPECT_FALSE(FacadeState().metricsRunning);
  EXPECT_EQ(Logger().GetLogName(), "app.log");
}

TEST(StartSystem, ReturnsTrueForANullNameWhenNothingRuns) {
  EXPECT_TRUE(Start(nullptr, nullptr, ERROR));
  EXPECT_EQ(FacadeState().logLevel, ERROR);
  EXPECT_FALSE(FacadeState().logRunning);
  EXPECT_FALSE(FacadeState().logQueue.IsRunning());
}

TEST(StartSystem, SetsTheLevelBeforeItStopsTheChannelsForANullName) {
  const ScratchDir dir;
  EXPECT_TRUE(Start("app.log", dir.Path().c_str()));
  LogText(INFO, "hello");
  EXPECT_TRUE(Start(nullptr, nullptr, WARN));
  EXPECT_THAT(dir.Read("app.log"), AllOf(HasSubstr("]: hello\n"), Not(HasSubstr("EXIT"))));
  EXPECT_THAT(TakeCachedLines(), AllOf(HasSubstr("]: hello\n"), Not(HasSubstr("EXIT"))));
}

TEST(StartSystem, LooksAtNoDirectoryForANullName) {
  EXPECT_TRUE(Start(nullptr, "/tmp/data"));
}

// ---- Stop --------------------------------------------------------------------

TEST(StopSystem, OnlyClearsTheFlagsWhenNothingRuns) {
  const CapturedStandardError standardError;
  FacadeState().logRunning = true;
  FacadeState().metricsRunning = true;
  Logger().StopSystem();
  EXPECT_FALSE(FacadeState().logRunning);
  EXPECT_FALSE(FacadeState().metricsRunning);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

}  // namespace
