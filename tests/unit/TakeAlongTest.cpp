#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BlockingQueue.h"
#include "OpenQueue.h"

namespace {

using testing::ElementsAre;

constexpr std::uint64_t noLimit = 1'000'000'000;

class TakeAlong : public testing::Test {
 protected:
  TakeAlong() { queue.SetCapacity(1'000'000); }

  void Push(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) queue.Push("", line);
  }

  void BeginRun() { queue.WaitPop(worker, run.Begin()); }

  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < run.LineCount(); ++i) lines.emplace_back(run.Line(i));
    return lines;
  }

  BlockingQueue queue{0};
  BlockingQueue::Generation worker = queue.Start();
  LineRun run;
};

TEST_F(TakeAlong, TakesTheLinesThatWaitInTheirOrder) {
  Push({"first\n", "second\n", "second and more\n", "third\n"});
  BeginRun();

  EXPECT_FALSE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_EQ(run.Text(), "first\nsecond\nsecond and more\nthird\n");
  EXPECT_THAT(Lines(), ElementsAre("first\n", "second\n", "second and more\n", "third\n"));
}

TEST_F(TakeAlong, TakesNothingFromAnEmptyQueue) {
  Push({"alone\n"});
  BeginRun();

  EXPECT_FALSE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_THAT(Lines(), ElementsAre("alone\n"));
}

TEST_F(TakeAlong, StopsAtAnotherKey) {
  queue.Push("net", "1\n");
  queue.Push("net", "2\n");
  queue.Push("nets", "3\n");
  queue.Push("net", "4\n");
  BeginRun();

  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_EQ(run.Key(), "net");
  EXPECT_THAT(Lines(), ElementsAre("1\n", "2\n"));
  EXPECT_EQ(Pop(queue, worker), LogRecord("nets", "3\n"));
}

TEST_F(TakeAlong, StopsBeforeAnExitMarker) {
  Push({"1\n", "2\n"});
  queue.PushExitMarker();
  Push({"3\n"});
  BeginRun();

  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_THAT(Lines(), ElementsAre("1\n", "2\n"));
  EXPECT_EQ(Pop(queue, worker), LogRecord());
  EXPECT_EQ(Pop(queue, worker), LogRecord("", "3\n"));
}

TEST_F(TakeAlong, PassesOverExitMarkersThatAStartHasDropped) {
  Push({"1\n"});
  queue.PushExitMarker();
  Push({"2\n"});
  queue.PushExitMarker();
  worker = queue.Start();
  Push({"3\n"});
  BeginRun();

  EXPECT_FALSE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_THAT(Lines(), ElementsAre("1\n", "2\n", "3\n"));
  EXPECT_EQ(queue.Size(), 2u);
}

TEST_F(TakeAlong, EndsWithTheLineThatExceedsTheBytes) {
  Push({"123\n", "567\n", "9AB\n", "DEF\n"});
  BeginRun();

  EXPECT_TRUE(queue.TakeAlong(worker, run, 8));

  EXPECT_THAT(Lines(), ElementsAre("123\n", "567\n", "9AB\n"));
}

TEST_F(TakeAlong, EndsWithTheFirstLineWhenThatExceedsTheBytes) {
  Push({"123\n", "567\n"});
  BeginRun();

  EXPECT_TRUE(queue.TakeAlong(worker, run, 3));
  EXPECT_THAT(Lines(), ElementsAre("123\n"));

  EXPECT_FALSE(queue.TakeAlong(worker, run, 4));
  EXPECT_THAT(Lines(), ElementsAre("123\n", "567\n"));
}

TEST_F(TakeAlong, TakesOneThousandAndTwentyFourLinesAtMost) {
  Push(std::vector<std::string>(1030, "\n"));
  BeginRun();

  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_EQ(run.LineCount(), 1024u);
  EXPECT_EQ(run.Text(), std::string(1024, '\n'));
  EXPECT_EQ(run.Line(1023), "\n");
}

TEST_F(TakeAlong, Takes64KiBAtMost) {
  const std::string line(16 * 1024, 'x');
  Push({line, line, line, line + "y", line});
  BeginRun();
  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));
  EXPECT_THAT(Lines(), ElementsAre(line, line, line));

  BeginRun();
  Push({line, line, line});
  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));
  EXPECT_THAT(Lines(), ElementsAre(line + "y", line, line));
}

TEST_F(TakeAlong, TakesNothingAlongWithALineOfMoreThan64KiB) {
  const std::string large(100'000, 'x');
  Push({large, "small\n", "smaller\n"});
  BeginRun();
  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));
  EXPECT_EQ(run.Text(), large);

  // Nor does a run grow beyond that because there is room from then on.
  BeginRun();
  Push({large});
  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));
  EXPECT_THAT(Lines(), ElementsAre("small\n", "smaller\n"));
}

TEST_F(TakeAlong, BeginsAnewWithEveryRun) {
  Push({"1\n", "2\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, noLimit);
  run.AddDone(2);
  Push({"3\n"});

  BeginRun();

  EXPECT_THAT(Lines(), ElementsAre("3\n"));
  EXPECT_EQ(run.DoneCount(), 0u);
  EXPECT_FALSE(run.IsDone());
}

TEST_F(TakeAlong, LetsAllButTheLineThatIsBegunCountAsWaiting) {
  Push({"1\n", "2\n", "3\n", "4\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, noLimit);
  EXPECT_EQ(queue.Size(), 3u);

  queue.MarkWritten(worker, run);
  EXPECT_EQ(queue.Size(), 3u) << "nothing is written yet";

  run.AddDone(1);
  queue.MarkWritten(worker, run);
  queue.MarkWritten(worker, run);
  EXPECT_EQ(queue.Size(), 2u) << "the second is begun, the third and fourth wait";

  run.AddDone(3);
  queue.MarkWritten(worker, run);
  EXPECT_EQ(queue.Size(), 0u);
}

TEST_F(TakeAlong, KeepsTheCapacityExactToTheLine) {
  queue.SetCapacity(4);
  Push({"1\n", "2\n", "3\n", "4\n", "dropped\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, noLimit);

  Push({"5\n", "dropped\n"});
  EXPECT_EQ(queue.Size(), 4u);

  run.AddDone(4);
  queue.MarkWritten(worker, run);
  Push({"6\n", "7\n", "8\n", "dropped\n"});
  EXPECT_EQ(queue.Size(), 4u);
}

TEST_F(TakeAlong, LeavesTheRestToASecondWorker) {
  const auto second = queue.Start();
  Push({"1\n", "2\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, noLimit);
  Push({"3\n", "4\n"});

  LineRun other;
  queue.WaitPop(second, other.Begin());
  EXPECT_FALSE(queue.TakeAlong(second, other, noLimit));

  EXPECT_EQ(other.Text(), "3\n4\n");
  EXPECT_EQ(queue.Size(), 2u);
  run.AddDone(2);
  queue.MarkWritten(worker, run);
  other.AddDone(2);
  queue.MarkWritten(second, other);
  EXPECT_EQ(queue.Size(), 0u);
}

// Of what the other holds there is nothing to take: it waits to be woken.
TEST_F(TakeAlong, SendsASecondWorkerHomeThatFindsOnlyTheRunOfTheFirst) {
  const auto second = queue.Start();
  Push({"1\n", "2\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, noLimit);
  queue.MarkStopped(worker);

  EXPECT_EQ(Pop(queue, second), LogRecord());
}

TEST_F(TakeAlong, GivesALateWorkerNothing) {
  Push({"1\n", "2\n"});
  BeginRun();
  queue.PushExitMarker();
  (void)queue.Start();

  EXPECT_TRUE(queue.TakeAlong(worker, run, noLimit));

  EXPECT_THAT(Lines(), ElementsAre("1\n"));
}

TEST_F(TakeAlong, LetsARunThatIsHeldUpTakeNoRoomFromTheNextStart) {
  queue.SetCapacity(3);
  Push({"1\n", "2\n", "3\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, noLimit);
  queue.PushExitMarker();

  const auto next = queue.Start();
  EXPECT_EQ(queue.Size(), 0u);
  Push({"4\n", "5\n", "6\n"});
  EXPECT_EQ(queue.Size(), 3u);

  run.AddDone(3);
  queue.MarkWritten(worker, run);
  EXPECT_EQ(queue.Size(), 3u) << "the late worker has no say";
  EXPECT_EQ(Pop(queue, next), LogRecord("", "4\n"));
}

TEST_F(TakeAlong, LeavesNothingOfARunInAChildOfFork) {
  Push({"1\n", "2\n", "3\n"});
  BeginRun();
  (void)queue.TakeAlong(worker, run, 2);
  queue.LockForFork();

  queue.ResetInChild();

  EXPECT_EQ(queue.Size(), 0u);
  const auto fresh = queue.Start();
  Push({"4\n"});
  EXPECT_EQ(Pop(queue, fresh), LogRecord("", "4\n"));
}

}  // namespace
