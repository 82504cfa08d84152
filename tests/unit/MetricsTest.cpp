#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cwchar>
#include <vector>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "JoiningThread.h"
#include "LogCalls.h"
#include "OpenQueue.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

using ::testing::MatchesRegex;
using ::testing::Pair;

namespace {

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

void Record(const std::string& text) {
  Logger().Metrics("%s", text.c_str());
}

// The line that reports a record that is too long or empty.
auto IsTheReport() {
  return MatchesRegex(
      "\\[demo\\] \\[2026-01-05 09:03:07\\.042\\] \\[1234\\] \\[ERROR\\] "
      "\\[ZinLogger:[0-9]+\\] \\[Metrics\\]: Maybe metrics data len > 8192 !!!\n");
}

// ---- The record --------------------------------------------------------------

TEST(Metrics, AddsANewlineAndNothingElse) {
  OpenQueue queue(FacadeState().metricsQueue);
  Logger().Metrics("cpu=%d%% host=%s", 42, "alpha");
  EXPECT_EQ(queue.Size(), 1U);
  EXPECT_THAT(queue.Take(), Pair("", "cpu=42% host=alpha\n"));
}

TEST(Metrics, AddsNoSecondNewline) {
  OpenQueue queue(FacadeState().metricsQueue);
  Record("a=1\n");
  Record("\n");
  Record("b=1\n\n");
  EXPECT_THAT(queue.Take(), Pair("", "a=1\n"));
  EXPECT_THAT(queue.Take(), Pair("", "\n"));
  EXPECT_THAT(queue.Take(), Pair("", "b=1\n\n"));
}

TEST(Metrics, TakesARecordOfExactly8190Characters) {
  const std::string text(8190, 'x');
  OpenQueue queue(FacadeState().metricsQueue);
  Record(text);
  const std::string queued = queue.Take().second;
  EXPECT_EQ(queued.size(), 8191U);
  EXPECT_EQ(queued, text + "\n");
}

TEST(Metrics, TakesARecordOfExactly8190CharactersThatEndsInANewline) {
  const std::string text = std::string(8189, 'x') + "\n";
  OpenQueue queue(FacadeState().metricsQueue);
  Record(text);
  EXPECT_EQ(queue.Take().second, text);
}

TEST(Metrics, DoesNotLeakALongerEarlierRecord) {
  OpenQueue queue(FacadeState().metricsQueue);
  Record(std::string(100, 'x'));
  Record("y");
  (void)queue.Take();
  EXPECT_THAT(queue.Take(), Pair("", "y\n"));
}

TEST(Metrics, GoesToStandardErrorUnchangedWhileTheChannelIsStopped) {
  const CapturedStandardError standardError;
  Record("a=1");
  Record("b=2\n");
  EXPECT_EQ(standardError.Text(), "a=1\nb=2\n");
}

TEST(Metrics, GoesNowhereElseWhileTheChannelRuns) {
  const CapturedStandardError standardError;
  const OpenQueue logQueue(FacadeState().logQueue);
  const OpenQueue queue(FacadeState().metricsQueue);
  Record("a=1");
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(logQueue.Size(), 0U);
}

TEST(Metrics, NeverEntersTheCacheOfRecentLines) {
  const CapturedStandardError standardError;
  Record("to standard error");
  const OpenQueue queue(FacadeState().metricsQueue);
  Record("to the queue");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(Metrics, IsNotFilteredByTheThreshold) {
  const CapturedStandardError standardError;
  Logger().SetLogLevel(static_cast<LogLevel>(-1));
  Record("a=1");
  EXPECT_EQ(standardError.Text(), "a=1\n");
}

TEST(Metrics, ShowsAndKeepsTheCallersErrno) {
  const CapturedStandardError standardError;
  errno = ENOENT;
  MetricsUnchecked("%m");
  EXPECT_EQ(standardError.Text(), "No such file or directory\n");
  EXPECT_EQ(errno, ENOENT);
}

// ---- What cannot be recorded -------------------------------------------------

TEST(Metrics, ReportsARecordOf8191CharactersAndLosesIt) {
  OpenQueue logQueue(FacadeState().logQueue);
  const OpenQueue queue(FacadeState().metricsQueue);
  Record(std::string(8191, 'x'));
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_EQ(logQueue.Size(), 1U);
  EXPECT_THAT(logQueue.Take(), Pair("", IsTheReport()));
}

TEST(Metrics, ReportsAnEmptyRecordInTheSameWords) {
  OpenQueue logQueue(FacadeState().logQueue);
  const OpenQueue queue(FacadeState().metricsQueue);
  Record("");
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_EQ(logQueue.Size(), 1U);
  EXPECT_THAT(logQueue.Take(), Pair("", IsTheReport()));
}

TEST(Metrics, ReportsARecordThatBeginsWithNulAndDoesNotHandItOn) {
  const CapturedStandardError standardError;
  const OpenQueue queue(FacadeState().metricsQueue);
  Logger().Metrics("%ctext", '\0');
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_THAT(standardError.Text(), IsTheReport());
}

TEST(Metrics, ReportsARecordWhoseConversionFailed) {
  const CapturedStandardError standardError;
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), L'\0'};
  const OpenQueue queue(FacadeState().metricsQueue);
  Logger().Metrics("a=%ls", noCharacter);
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_THAT(standardError.Text(), IsTheReport());
}

TEST(Metrics, KeepsTheReportInTheCacheOfRecentLines) {
  const CapturedStandardError standardError;
  Record("");
  EXPECT_THAT(TakeCachedLines(), IsTheReport());
}

TEST(Metrics, ReportsNothingBelowTheThresholdOfErrors) {
  const CapturedStandardError standardError;
  Logger().SetLogLevel(FATAL);
  Record("");
  EXPECT_EQ(standardError.Text(), "");
}

TEST(Metrics, CountsNoRecordThatItReports) {
  const CapturedStandardError standardError;
  Record(std::string(8191, 'x'));
  Record("");
  Logger().Metrics("%ctext", '\0');
  EXPECT_EQ(Logger().GetMetricsCount(), 0);
}

TEST(Metrics, DoesNothingForANullOrEmptyFormat) {
  const CapturedStandardError standardError;
  const OpenQueue queue(FacadeState().metricsQueue);
  MetricsUnchecked(nullptr);
  MetricsUnchecked("");
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(Logger().GetMetricsCount(), 0);
}

// ---- Count -------------------------------------------------------------------

TEST(MetricsCount, IsTheNumberOfAcceptedRecords) {
  const OpenQueue queue(FacadeState().metricsQueue);
  EXPECT_EQ(Logger().GetMetricsCount(), 0);
  for (const char* const text : {"a", "b", "c"}) Record(text);
  EXPECT_EQ(Logger().GetMetricsCount(), 3);
}

TEST(MetricsCount, IsZeroAfterAReset) {
  const OpenQueue queue(FacadeState().metricsQueue);
  Record("a");
  EXPECT_EQ(Logger().ResetMetricsCount(), 0);
  EXPECT_EQ(Logger().GetMetricsCount(), 0);
  Record("b");
  EXPECT_EQ(Logger().GetMetricsCount(), 1);
}

TEST(MetricsCount, CountsRecordsThatAFullQueueDrops) {
  const OpenQueue queue(FacadeState().metricsQueue, 1);
  for (const char* const text : {"a", "b", "c"}) Record(text);
  EXPECT_EQ(queue.Size(), 1U);
  EXPECT_EQ(Logger().GetMetricsCount(), 3);
}

TEST(MetricsCount, CountsMoreThan16BitsDo) {
  const OpenQueue queue(FacadeState().metricsQueue, 0);
  for (int i = 0; i < 70000; ++i) Record("a");
  EXPECT_EQ(Logger().GetMetricsCount(), 70000);
}

TEST(MetricsCount, CountsRecordsWhileTheChannelIsStopped) {
  const CapturedStandardError standardError;
  Record("a");
  EXPECT_EQ(Logger().GetMetricsCount(), 1);
}

// ---- Switch ------------------------------------------------------------------

TEST(MetricsGetPrivSwitch, SilencesMetricsForAnyOtherValueThanZero) {
  for (const int value : {1, -7}) {
    const CapturedStandardError standardError;
    const OpenQueue queue(FacadeState().metricsQueue);
    Logger().MetricsGetPrivSwitch(value);
    Record("a");
    Record("");  // not even reported
    Record(std::string(8191, 'x'));
    EXPECT_EQ(queue.Size(), 0U);
    EXPECT_EQ(standardError.Text(), "");
    EXPECT_EQ(Logger().GetMetricsCount(), 0);
    EXPECT_EQ(TakeCachedLines(), "");
  }
}

// Who switches it off must be able to rely on it, whatever number stands for it:
// here those whose low bytes are zero.
TEST(MetricsGetPrivSwitch, SilencesMetricsForLargeValues) {
  for (const int value : {1 << 8, 1 << 16, 1 << 24, INT_MIN}) {
    const CapturedStandardError standardError;
    Logger().MetricsGetPrivSwitch(value);
    Record("private");
    EXPECT_EQ(standardError.Text(), "") << value;
  }
}

TEST(MetricsGetPrivSwitch, TurnsRecordingBackOnWithZero) {
  const OpenQueue queue(FacadeState().metricsQueue);
  Logger().MetricsGetPrivSwitch(1);
  Logger().MetricsGetPrivSwitch(0);
  Record("a");
  EXPECT_EQ(queue.Size(), 1U);
  EXPECT_EQ(Logger().GetMetricsCount(), 1);
}

TEST(MetricsGetPrivSwitch, DoesNotTouchTheLogChannel) {
  const CapturedStandardError standardError;
  Logger().MetricsGetPrivSwitch(1);
  LogText(INFO, "hello");
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n");
}

// ---- Threads -----------------------------------------------------------------

TEST(Metrics, MayBeCalledFromManyThreads) {
  constexpr int recordsPerThread = 1000;
  const std::array<std::string, 4> texts = {std::string(8000, 'a'), std::string(8000, 'b'),
                                            std::string(8000, 'c'), std::string(8000, 'd')};
  OpenQueue queue(FacadeState().metricsQueue, texts.size() * recordsPerThread);
  {
    std::vector<JoiningThread> threads;
    for (const std::string& text : texts) {
      threads.emplace_back([&text] {
        for (int i = 0; i < recordsPerThread; ++i) Record(text);
      });
    }
  }
  EXPECT_EQ(queue.Size(), texts.size() * recordsPerThread);
  EXPECT_EQ(Logger().GetMetricsCount(), 4 * recordsPerThread);
  int mixed = 0;
  while (queue.Size() > 0) {
    std::string record = queue.Take().second;
    record.pop_back();  // the newline
    mixed += std::count(texts.begin(), texts.end(), record) == 1 ? 0 : 1;
  }
  EXPECT_EQ(mixed, 0);
}

}  // namespace
