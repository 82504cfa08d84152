#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cwchar>
#include <vector>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "FakeClock.h"
#include "JoiningThread.h"
#include "LogCalls.h"
#include "OpenQueue.h"
#include "Text.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

// Logs one line at each of the five levels, and returns the messages that came
// through to standard error.
std::vector<std::string> PassingLevels(int threshold) {
  const CapturedStandardError standardError;
  ZinLogger::GetInstance()->SetLogLevel(static_cast<LogLevel>(threshold));
  for (const LogLevel level : {FATAL, ERROR, WARN, INFO, DEBUG}) {
    LogText(level, std::to_string(static_cast<int>(level)));
  }
  return MessagesOf(SplitLines(standardError.Text()));
}

// ---- Before the start --------------------------------------------------------

TEST(Log, WritesTheWholeLineToStandardErrorBeforeTheStart) {
  const CapturedStandardError standardError;
  ZinLogger::GetInstance()->Log("src/alpha_unit", 12, "Work", " ", "", INFO, "%d of %s", 3, "four");
  EXPECT_EQ(standardError.Text(),
            "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [alpha_unit:12] [Work]: 3 of four\n");
}

TEST(Log, KeepsTheSameLineInTheCacheBeforeTheStart) {
  const CapturedStandardError standardError;
  LogText(INFO, "hello");
  EXPECT_EQ(TakeCachedLines(), infoHeader + "hello\n");
}

// ---- Threshold ---------------------------------------------------------------

TEST(Log, DropsDebugLinesByDefault) {
  const CapturedStandardError standardError;
  LogText(DEBUG, "hello");
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(Log, LetsFatalToInfoThroughByDefault) {
  const CapturedStandardError standardError;
  for (const LogLevel level : {FATAL, ERROR, WARN, INFO, DEBUG}) LogText(level, "x");
  EXPECT_THAT(SplitLines(standardError.Text()), SizeIs(4));
}

TEST(Log, LetsALevelThroughThatIsNotAboveTheThreshold) {
  EXPECT_THAT(PassingLevels(0), ElementsAre("0"));
  EXPECT_THAT(PassingLevels(1), ElementsAre("0", "1"));
  EXPECT_THAT(PassingLevels(2), ElementsAre("0", "1", "2"));
  EXPECT_THAT(PassingLevels(3), ElementsAre("0", "1", "2", "3"));
  EXPECT_THAT(PassingLevels(4), ElementsAre("0", "1", "2", "3", "4"));
}

TEST(Log, IsSilentBelowThresholdZero) {
  EXPECT_THAT(PassingLevels(-1), IsEmpty());
  EXPECT_THAT(PassingLevels(INT_MIN), IsEmpty());
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(Log, LetsAllLevelsThroughAboveThresholdFour) {
  EXPECT_THAT(PassingLevels(5), SizeIs(5));
  EXPECT_THAT(PassingLevels(INT_MAX), SizeIs(5));
}

TEST(Log, PrintsALevelWithoutANameAsUnknown) {
  const CapturedStandardError standardError;
  LogText(static_cast<LogLevel>(-3), "hello");
  EXPECT_EQ(standardError.Text(),
            "[demo] [2026-01-05 09:03:07.042] [1234] [UNKNOWN] [alpha_unit:12] [Work]: hello\n");
}

TEST(Log, FormatsNothingForAFilteredLine) {
  const CapturedStandardError standardError;
  FakeClock::SetTick(0);
  FakeClock::SetTickStep(1);
  LogText(DEBUG, "filtered");
  EXPECT_EQ(ZinDateTime::GetCurrentTick(), 0U);
  LogText(INFO, "emitted");  // read number two; the next is the third
  EXPECT_EQ(ZinDateTime::GetCurrentTick(), 2U);
}

// ---- Message -----------------------------------------------------------------

TEST(Log, ProducesNothingForAnEmptyFormat) {
  const CapturedStandardError standardError;
  LogUnchecked(INFO, "");
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(Log, ProducesNothingForAMessageThatFormatsToNothing) {
  const CapturedStandardError standardError;
  const OpenQueue queue(FacadeState().logQueue);
  LogText(INFO, "");
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(Log, AddsNoSecondNewline) {
  const CapturedStandardError standardError;
  LogText(INFO, "hello\n");
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n");
}

TEST(Log, LooksAtTheLastCharacterOnlyForTheNewline) {
  const CapturedStandardError standardError;
  LogText(INFO, "a\nb");
  LogText(INFO, "\n");
  LogText(INFO, "c\n\n");
  EXPECT_EQ(standardError.Text(), infoHeader + "a\nb\n" + infoHeader + "\n" + infoHeader + "c\n\n");
}

TEST(Log, LeavesTheHeaderAloneWhenAConversionFails) {
  const CapturedStandardError standardError;
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), L'\0'};
  ZinLogger::GetInstance()->Log("src/alpha_unit", 12, "Work", " ", "", INFO, "ab %ls", noCharacter);
  EXPECT_EQ(standardError.Text(), infoHeader);
}

TEST(Log, ShowsTheCallersErrno) {
  const CapturedStandardError standardError;
  errno = ENOENT;
  LogUnchecked(INFO, "open: %m");
  EXPECT_EQ(standardError.Text(), infoHeader + "open: No such file or directory\n");
}

TEST(Log, ShowsTheCallersErrnoWhateverItsOwnCallsLeaveThere) {
  const CapturedStandardError standardError;
  FakeClock::SetErrorOfReads(EINTR);
  errno = ENOENT;
  LogUnchecked(INFO, "open: %m");
  EXPECT_EQ(standardError.Text(), infoHeader + "open: No such file or directory\n");
  EXPECT_EQ(errno, ENOENT);
}

TEST(Log, KeepsErrno) {
  const CapturedStandardError standardError;
  for (const LogLevel level : {INFO, DEBUG}) {
    errno = EXDEV;
    LogText(level, "hello");
    EXPECT_EQ(errno, EXDEV);
  }
}

// ---- Hand-over ---------------------------------------------------------------

TEST(Log, QueuesTheLineWithItsSubDirectoryWhileTheChannelRuns) {
  const CapturedStandardError standardError;
  OpenQueue queue(FacadeState().logQueue);
  LogText(INFO, "first");
  LogText(INFO, "second", "net");
  EXPECT_THAT(queue.Take(), Pair("", infoHeader + "first\n"));
  EXPECT_THAT(queue.Take(), Pair("net", infoHeader + "second\n"));
  EXPECT_EQ(standardError.Text(), "");
}

TEST(Log, PassesTheSubDirectoryOnUnchanged) {
  OpenQueue queue(FacadeState().logQueue);
  LogText(INFO, "x", "/a b/../");
  EXPECT_THAT(queue.Take(), Pair("/a b/../", infoHeader + "x\n"));
}

TEST(Log, PrintsTheSameTextWhateverTheSubDirectory) {
  const CapturedStandardError standardError;
  LogText(INFO, "hello", "net");
  LogText(INFO, "hello", nullptr);
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n" + infoHeader + "hello\n");
}

TEST(Log, KeepsAQueuedLineInTheCache) {
  const OpenQueue queue(FacadeState().logQueue);
  LogText(INFO, "hello");
  EXPECT_EQ(queue.Size(), 1U);
  EXPECT_EQ(TakeCachedLines(), infoHeader + "hello\n");
}

TEST(Log, KeepsALineInTheCacheThatAFullQueueDropped) {
  const CapturedStandardError standardError;
  const OpenQueue queue(FacadeState().logQueue, 1);
  LogText(INFO, "queued");
  LogText(INFO, "dropped");
  EXPECT_EQ(queue.Size(), 1U);
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(TakeCachedLines(), infoHeader + "queued\n" + infoHeader + "dropped\n");
}

TEST(LogDeathTest, EndsTheProcessForANullSubDirectoryWhileTheChannelRuns) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const OpenQueue queue(FacadeState().logQueue);
        LogText(INFO, "hello", nullptr);
      },
      "terminat");
}

TEST(Log, MayBeCalledFromManyThreads) {
  constexpr int linesPerThread = 200;
  const CapturedStandardError standardError;
  {
    std::vector<JoiningThread> threads;
    for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'}) {
      threads.emplace_back([letter] {
        for (int i = 0; i < linesPerThread; ++i) LogText(INFO, std::string(100, letter));
      });
    }
  }
  const std::vector<std::string> printed = MessagesOf(SplitLines(standardError.Text()));
  EXPECT_THAT(printed, SizeIs(6 * linesPerThread));
  EXPECT_THAT(printed, Each(MatchesRegex("a{100}|b{100}|c{100}|d{100}|e{100}|f{100}")));
  EXPECT_THAT(MessagesOf(SplitLines(TakeCachedLines())),
              ::testing::UnorderedElementsAreArray(printed));
}

}  // namespace
