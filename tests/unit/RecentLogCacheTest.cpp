#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <set>
#include <vector>

#include "CapturedStandardError.h"
#include "JoiningThread.h"
#include "LogCalls.h"
#include "RecentLogCache.h"
#include "Text.h"
#include "WaitUntilTrue.h"
#include "ZinLogger.h"

using ::testing::SizeIs;

namespace {

constexpr int all = std::numeric_limits<int>::max();

// "3\n4\n5\n" for 3 and 5.
std::string Lines(int first, int last) {
  std::string text;
  for (int i = first; i <= last; ++i) text += std::to_string(i) + "\n";
  return text;
}

void AppendLines(RecentLogCache& cache, int first, int last) {
  for (int i = first; i <= last; ++i) cache.Append(std::to_string(i) + "\n");
}

// What the cache still holds beside the pending batch.
std::string TakeRest(RecentLogCache& cache) {
  cache.ClearBatch(true);
  std::string rest = cache.GetBatch(all);
  cache.ClearBatch(true);
  return rest;
}

// ---- Capacity ----------------------------------------------------------------

TEST(RecentLogCache, IsEmptyAtFirst) {
  RecentLogCache cache;
  EXPECT_EQ(cache.GetBatch(10), "");
}

TEST(RecentLogCache, HoldsFifteenHundredLines) {
  RecentLogCache cache;
  AppendLines(cache, 1, 1500);
  EXPECT_EQ(cache.GetBatch(all), Lines(1, 1500));
}

TEST(RecentLogCache, PushesTheOldestOutWithLineFifteenHundredAndOne) {
  RecentLogCache cache;
  AppendLines(cache, 1, 1501);
  EXPECT_EQ(cache.GetBatch(all), Lines(2, 1501));
}

TEST(RecentLogCache, HoldsTheLatestAfterSixteenHundredLines) {
  RecentLogCache cache;
  AppendLines(cache, 1, 1600);
  EXPECT_EQ(cache.GetBatch(all), Lines(101, 1600));
}

TEST(RecentLogCache, KeepsLongAndEmptyLinesAsTheyAre) {
  RecentLogCache cache;
  const std::string longLine(100000, 'x');
  cache.Append(longLine);
  cache.Append("");
  cache.Append("\n");
  EXPECT_EQ(cache.GetBatch(all), longLine + "\n");
}

// ---- Fetch -------------------------------------------------------------------

TEST(RecentLogCache, GivesNothingForLessThanOneLineAndRemovesNothing) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  EXPECT_EQ(cache.GetBatch(0), "");
  EXPECT_EQ(cache.GetBatch(-5), "");
  EXPECT_EQ(cache.GetBatch(std::numeric_limits<int>::min()), "");
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 3));
}

TEST(RecentLogCache, GivesNothingForLessThanOneLineEvenWhileABatchIsPending) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  EXPECT_EQ(cache.GetBatch(2), Lines(1, 2));
  EXPECT_EQ(cache.GetBatch(0), "");
  EXPECT_EQ(cache.GetBatch(-5), "");
  EXPECT_EQ(cache.GetBatch(1), Lines(1, 2));
}

TEST(RecentLogCache, GivesAllLinesWhenItHoldsFewer) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 3));
  EXPECT_EQ(TakeRest(cache), "");
}

TEST(RecentLogCache, GivesExactlyAsManyLinesAsAsked) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  EXPECT_EQ(cache.GetBatch(1), "1\n");
  EXPECT_EQ(TakeRest(cache), Lines(2, 3));
}

TEST(RecentLogCache, GivesTheSameBatchAgainUntilItIsConfirmed) {
  RecentLogCache cache;
  AppendLines(cache, 1, 25);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
  EXPECT_EQ(TakeRest(cache), Lines(11, 25));
}

TEST(RecentLogCache, GivesAPendingBatchWholeWhateverIsAskedFor) {
  RecentLogCache cache;
  AppendLines(cache, 1, 60);
  EXPECT_EQ(cache.GetBatch(2), Lines(1, 2));
  EXPECT_EQ(cache.GetBatch(50), Lines(1, 2));
  EXPECT_EQ(cache.GetBatch(1), Lines(1, 2));
  cache.ClearBatch(true);
  EXPECT_EQ(cache.GetBatch(50), Lines(3, 52));
}

TEST(RecentLogCache, JoinsLinesWithoutASeparator) {
  RecentLogCache cache;
  cache.Append("cut line");
  cache.Append("whole line\n");
  EXPECT_EQ(cache.GetBatch(2), "cut linewhole line\n");
}

// ---- Acknowledge -------------------------------------------------------------

TEST(RecentLogCache, GivesTheNextLinesOnceABatchIsConfirmed) {
  RecentLogCache cache;
  AppendLines(cache, 1, 25);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
  cache.ClearBatch(true);
  EXPECT_EQ(cache.GetBatch(10), Lines(11, 20));
  cache.ClearBatch(true);
  EXPECT_EQ(cache.GetBatch(10), Lines(21, 25));
  cache.ClearBatch(true);
  EXPECT_EQ(cache.GetBatch(10), "");
}

TEST(RecentLogCache, GivesTheSameBatchAgainWhenItsDeliveryFailed) {
  RecentLogCache cache;
  AppendLines(cache, 1, 25);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
  cache.ClearBatch(false);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
}

TEST(RecentLogCache, LosesNoLineToAConfirmationWithoutABatch) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  cache.ClearBatch(true);
  cache.ClearBatch(false);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 3));
}

TEST(RecentLogCache, KeepsLinesThatArriveWhileABatchIsPendingForLaterBatches) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 3));
  AppendLines(cache, 4, 6);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 3));
  cache.ClearBatch(true);
  EXPECT_EQ(cache.GetBatch(10), Lines(4, 6));
}

TEST(RecentLogCache, HoldsFifteenHundredLinesBesideThePendingBatch) {
  RecentLogCache cache;
  AppendLines(cache, 1, 1500);
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
  AppendLines(cache, 1501, 1511);  // the first ten fill the gap, the next pushes out line 11
  EXPECT_EQ(cache.GetBatch(10), Lines(1, 10));
  EXPECT_EQ(TakeRest(cache), Lines(12, 1511));
}

// ---- From outside ------------------------------------------------------------

TEST(ZinGetCacheLog, GivesLoggedLinesInBatches) {
  const CapturedStandardError standardError;
  for (int i = 1; i <= 5; ++i) LogText(INFO, std::to_string(i));
  EXPECT_EQ(ZinGetCacheLog(0), "");
  EXPECT_EQ(ZinGetCacheLog(-5), "");
  EXPECT_EQ(ZinGetCacheLog(2), infoHeader + "1\n" + infoHeader + "2\n");
  ZinClearLastLog(false);
  EXPECT_EQ(ZinGetCacheLog(50), infoHeader + "1\n" + infoHeader + "2\n");
  ZinClearLastLog(true);
  EXPECT_EQ(ZinGetCacheLog(2), infoHeader + "3\n" + infoHeader + "4\n");
  ZinClearLastLog(true);
  EXPECT_EQ(ZinGetCacheLog(2), infoHeader + "5\n");
}

TEST(ZinGetCacheLog, HoldsTheLatestFifteenHundredLoggedLines) {
  const CapturedStandardError standardError;
  for (int i = 1; i <= 1600; ++i) LogText(INFO, std::to_string(i));
  const std::vector<std::string> messages = MessagesOf(SplitLines(ZinGetCacheLog(2000)));
  ASSERT_THAT(messages, SizeIs(1500));
  EXPECT_EQ(messages.front(), "101");
  EXPECT_EQ(messages.back(), "1600");
}

TEST(ZinGetCacheLog, ReadsTheOneCacheOfTheProcess) {
  RecentLogCache::Instance().Append("line\n");
  EXPECT_EQ(ZinGetCacheLog(1), "line\n");
  ZinClearLastLog(true);
  EXPECT_EQ(RecentLogCache::Instance().GetBatch(1), "");
}

// ---- Threads -----------------------------------------------------------------

TEST(RecentLogCache, NeedsNoLockForACallThatHasNothingToDo) {
  RecentLogCache cache;
  AppendLines(cache, 1, 3);
  std::atomic<bool> answered{false};
  cache.LockForFork();
  JoiningThread other([&] {
    EXPECT_EQ(cache.GetBatch(0), "");
    EXPECT_EQ(cache.GetBatch(-5), "");
    cache.ClearBatch(false);
    answered = true;
  });

  EXPECT_TRUE(WaitUntilTrue([&] { return answered.load(); }));

  cache.UnlockAfterFork();
}

TEST(RecentLogCache, HandsEveryLineOutOnceWhileSeveralThreadsAppend) {
  constexpr int threadCount = 4;
  constexpr int linesPerThread = 350;  // all of them fit
  RecentLogCache cache;
  std::atomic<int> running{threadCount};
  std::vector<JoiningThread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      const int first = thread * linesPerThread;
      AppendLines(cache, first, first + linesPerThread - 1);
      --running;
    });
  }
  std::vector<std::string> seen;
  bool finished = false;
  while (!finished) {
    finished = running == 0;  // before the fetch: the last one finds all
    const std::string batch = cache.GetBatch(finished ? all : 7);
    if (!batch.empty()) {
      EXPECT_EQ(cache.GetBatch(1), batch);
    }
    cache.ClearBatch(true);
    for (std::string& line : SplitLines(batch)) seen.push_back(std::move(line));
  }
  EXPECT_THAT(seen, SizeIs(threadCount * linesPerThread));
  EXPECT_THAT(std::set<std::string>(seen.begin(), seen.end()),
              SizeIs(threadCount * linesPerThread));
}

}  // namespace
