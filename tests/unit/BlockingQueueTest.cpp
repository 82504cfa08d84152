#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

#include "BlockingQueue.h"
#include "OpenQueue.h"

using testing::ElementsAre;

namespace {

const LogRecord exitMarker{};

static_assert(!std::is_copy_constructible_v<BlockingQueue>);
static_assert(!std::is_move_constructible_v<BlockingQueue>);
static_assert(noexcept(std::declval<BlockingQueue&>().PushExitMarker()));

// The lines that a worker gets until it is told to leave.
std::vector<std::string> TakeLines(BlockingQueue& queue, BlockingQueue::Generation worker) {
  std::vector<std::string> lines;
  for (;;) {
    const LogRecord record = Pop(queue, worker);
    if (record.second.empty()) return lines;
    lines.push_back(record.second);
  }
}

TEST(BlockingQueue, IsEmptyAndNotRunningAtFirst) {
  const BlockingQueue queue(10);

  EXPECT_FALSE(queue.IsRunning());
  EXPECT_EQ(queue.Size(), 0u);
}

TEST(BlockingQueue, TakesItsFirstCapacityFromTheConstructor) {
  BlockingQueue queue(2);
  queue.Start();

  for (int i = 0; i < 3; ++i) queue.Push("", "line\n");

  EXPECT_EQ(queue.Size(), 2u);
}

TEST(BlockingQueue, RunsFromStartToMarkStopped) {
  BlockingQueue queue(10);

  const auto worker = queue.Start();
  EXPECT_TRUE(queue.IsRunning());

  queue.MarkStopped(worker);
  EXPECT_FALSE(queue.IsRunning());
}

TEST(BlockingQueue, GivesBackBothStringsOfARecord) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();

  queue.Push("net", "a line\n");

  EXPECT_EQ(Pop(queue, worker), LogRecord("net", "a line\n"));
  EXPECT_EQ(queue.Size(), 0u);
}

TEST(BlockingQueue, DeliversRecordsInTheOrderOfTheirPushes) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();

  for (const char* const line : {"first", "second", "third"}) queue.Push("", line);
  queue.PushExitMarker();

  EXPECT_THAT(TakeLines(queue, worker), ElementsAre("first", "second", "third"));
}

TEST(BlockingQueue, DropsEveryPushAtCapacityZeroAndTakesOnlyTheExitMarker) {
  BlockingQueue queue(0);
  const auto worker = queue.Start();

  queue.Push("", "line\n");
  EXPECT_EQ(queue.Size(), 0u);

  queue.PushExitMarker();
  EXPECT_EQ(queue.Size(), 1u);
  EXPECT_EQ(Pop(queue, worker), exitMarker);
}

TEST(BlockingQueue, TakesARecordOneBelowCapacityAndDropsTheOneAtCapacity) {
  BlockingQueue queue(0);
  queue.SetCapacity(3);
  const auto worker = queue.Start();
  queue.Push("", "1");
  queue.Push("", "2");

  queue.Push("", "3");  // finds two
  EXPECT_EQ(queue.Size(), 3u);
  queue.Push("", "4");  // finds three
  EXPECT_EQ(queue.Size(), 3u);

  queue.PushExitMarker();
  EXPECT_THAT(TakeLines(queue, worker), ElementsAre("1", "2", "3"));
}

// "As many as you like": a program that passes the largest number of its type.
TEST(BlockingQueue, TakesLinesHoweverLargeItsCapacityIs) {
  constexpr std::uint64_t one = 1;
  for (const std::uint64_t capacity : {one << 31, one << 32, one << 63, UINT64_MAX}) {
    BlockingQueue queue(0);
    queue.SetCapacity(capacity);
    queue.Start();

    queue.Push("", "line");

    EXPECT_EQ(queue.Size(), 1u) << capacity;
  }
}

TEST(BlockingQueue, HasRoomAgainAfterAPop) {
  BlockingQueue queue(1);
  const auto worker = queue.Start();
  queue.Push("", "1");
  Pop(queue, worker);

  queue.Push("", "2");

  EXPECT_EQ(Pop(queue, worker).second, "2");
}

TEST(BlockingQueue, CountsAnExitMarkerAsARecordWhenItLooksForRoom) {
  BlockingQueue queue(1);
  queue.Start();
  queue.PushExitMarker();

  queue.Push("", "line");

  EXPECT_EQ(queue.Size(), 1u);
}

TEST(BlockingQueue, KeepsWhatItHoldsWhenTheCapacityShrinks) {
  BlockingQueue queue(3);
  const auto worker = queue.Start();
  queue.Push("", "1");
  queue.Push("", "2");

  queue.SetCapacity(1);
  queue.Push("", "3");
  queue.PushExitMarker();

  EXPECT_THAT(TakeLines(queue, worker), ElementsAre("1", "2"));
}

TEST(BlockingQueue, DropsAPushBeforeItsStart) {
  BlockingQueue queue(10);

  queue.Push("", "line");

  EXPECT_EQ(queue.Size(), 0u);
}

TEST(BlockingQueue, DropsAPushAfterMarkStoppedThoughThereIsRoom) {
  BlockingQueue queue(10);
  queue.MarkStopped(queue.Start());

  queue.Push("", "line");

  EXPECT_EQ(queue.Size(), 0u);
}

TEST(BlockingQueue, TakesAPushBetweenTheExitMarkerAndMarkStopped) {
  BlockingQueue queue(10);
  queue.Start();
  queue.PushExitMarker();

  queue.Push("", "late line");

  EXPECT_EQ(queue.Size(), 2u);
}

TEST(BlockingQueue, TakesAnExitMarkerWhenItIsFull) {
  BlockingQueue queue(1);
  const auto worker = queue.Start();
  queue.Push("", "line");

  queue.PushExitMarker();

  EXPECT_EQ(Pop(queue, worker).second, "line");
  EXPECT_EQ(Pop(queue, worker), exitMarker);
}

TEST(BlockingQueue, TakesAnExitMarkerWhenItIsNotRunning) {
  BlockingQueue queue(1);

  queue.PushExitMarker();

  EXPECT_EQ(queue.Size(), 1u);
}

TEST(BlockingQueue, DeliversWhatCameAfterTheExitMarkerToTheNextWorker) {
  BlockingQueue queue(10);
  const auto firstWorker = queue.Start();
  queue.Push("", "before");
  queue.PushExitMarker();
  queue.Push("net", "after");
  EXPECT_THAT(TakeLines(queue, firstWorker), ElementsAre("before"));
  queue.MarkStopped(firstWorker);

  const auto nextWorker = queue.Start();

  EXPECT_EQ(Pop(queue, nextWorker), LogRecord("net", "after"));
}

TEST(BlockingQueue, KeepsItsRecordsWhenNobodyStartsItAgain) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  queue.Push("", "line");
  queue.MarkStopped(worker);

  // They are simply destroyed with the queue; nobody is woken or waited for.
  EXPECT_EQ(queue.Size(), 1u);
}

TEST(BlockingQueue, DiscardsLeftoverExitMarkersAtAStart) {
  BlockingQueue queue(10);
  const auto firstWorker = queue.Start();
  queue.Push("", "line");
  queue.PushExitMarker();  // of one stop
  queue.Push("net", "");   // as good as one
  queue.PushExitMarker();  // of another at the same time
  queue.MarkStopped(firstWorker);

  const auto nextWorker = queue.Start();

  EXPECT_EQ(queue.Size(), 1u);
  EXPECT_EQ(Pop(queue, nextWorker).second, "line");
}

TEST(BlockingQueue, GivesBackALineWholeThatComesAfterASecondStart) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  queue.Push("net", "line 1 of some length\n");
  EXPECT_EQ(Pop(queue, worker).second, "line 1 of some length\n");

  queue.Start();
  queue.Push("net", "line 2 of some length\n");

  EXPECT_EQ(Pop(queue, worker), LogRecord("net", "line 2 of some length\n"));
}

TEST(BlockingQueue, PutsASecondWorkerIntoTheSameGeneration) {
  BlockingQueue queue(10);

  const auto firstWorker = queue.Start();

  EXPECT_EQ(queue.Start(), firstWorker);
}

// The first worker would leave, and its lines wait for the second.
TEST(BlockingQueue, PutsASecondWorkerIntoTheSameGenerationAlsoAfterAStop) {
  BlockingQueue queue(10);
  const BlockingQueue::Generation stopped = queue.Start();
  queue.PushExitMarker();
  queue.MarkStopped(stopped);

  const BlockingQueue::Generation first = queue.Start();
  EXPECT_EQ(queue.Start(), first);
}

TEST(BlockingQueue, BeginsANewGenerationAtTheStartAfterAStop) {
  BlockingQueue queue(10);
  const auto firstWorker = queue.Start();
  queue.MarkStopped(firstWorker);

  EXPECT_NE(queue.Start(), firstWorker);
}

TEST(BlockingQueue, BeginsANewGenerationAtTheStartAfterAStopThatTimedOut) {
  BlockingQueue queue(10);
  const auto stalledWorker = queue.Start();
  queue.PushExitMarker();

  EXPECT_NE(queue.Start(), stalledWorker);
}

TEST(BlockingQueue, SendsALateWorkerAwayWithoutARecord) {
  BlockingQueue queue(10);
  const auto lateWorker = queue.Start();
  queue.PushExitMarker();
  const auto newWorker = queue.Start();
  queue.Push("", "for the new worker");

  EXPECT_EQ(Pop(queue, lateWorker), exitMarker);

  EXPECT_EQ(Pop(queue, newWorker).second, "for the new worker");
}

TEST(BlockingQueue, IsNotStoppedByALateWorker) {
  BlockingQueue queue(10);
  const auto lateWorker = queue.Start();
  queue.PushExitMarker();
  const auto newWorker = queue.Start();

  queue.MarkStopped(lateWorker);
  EXPECT_TRUE(queue.IsRunning());

  queue.MarkStopped(newWorker);
  EXPECT_FALSE(queue.IsRunning());
}

TEST(BlockingQueue, HandsOutWhatIsLeftAndThenExitMarkersOnceItIsStopped) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  queue.Push("", "left over");
  queue.MarkStopped(worker);

  EXPECT_EQ(Pop(queue, worker).second, "left over");
  EXPECT_EQ(Pop(queue, worker), exitMarker);
  EXPECT_EQ(Pop(queue, worker), exitMarker);
}

TEST(BlockingQueue, IsEmptyAndStoppedInAChildOfFork) {
  BlockingQueue queue(10);
  const auto parentsWorker = queue.Start();
  queue.Push("", "the parent's line");

  queue.LockForFork();
  queue.ResetInChild();

  EXPECT_EQ(queue.Size(), 0u);
  EXPECT_FALSE(queue.IsRunning());
  const auto childsWorker = queue.Start();
  EXPECT_NE(childsWorker, parentsWorker);
  queue.Push("", "the child's line");
  EXPECT_EQ(Pop(queue, childsWorker).second, "the child's line");
}

TEST(BlockingQueue, GoesOnAsItWasInTheParentOfFork) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  queue.Push("", "1");

  queue.LockForFork();
  queue.UnlockInParent();

  queue.Push("", "2");
  queue.PushExitMarker();
  EXPECT_THAT(TakeLines(queue, worker), ElementsAre("1", "2"));
}

}  // namespace
