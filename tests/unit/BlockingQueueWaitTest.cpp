#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "BlockingQueue.h"
#include "JoiningThread.h"
#include "OpenQueue.h"
#include "Surroundings.h"
#include "Threads.h"
#include "WaitUntilTrue.h"

// Waiting and waking: several threads on one queue.

using namespace std::chrono_literals;

namespace {

const LogRecord exitMarker{};

// Starts a thread that runs `body`, and returns when it waits to be woken in there.
std::thread StartAsleep(const std::function<void()>& body) {
  std::atomic<pid_t> id{0};
  std::thread thread([&id, body] {
    id = gettid();
    body();
  });
  EXPECT_TRUE(WaitUntilTrue([&] { return id != 0 && WaitsToBeWoken(id); }));
  return thread;
}

// The lines that a worker gets until it is told to leave.
std::vector<std::string> TakeLines(BlockingQueue& queue, BlockingQueue::Generation worker) {
  std::vector<std::string> lines;
  for (;;) {
    const LogRecord record = Pop(queue, worker);
    if (record.second.empty()) return lines;
    lines.push_back(record.second);
  }
}

TEST(BlockingQueue, ReturnsAtOnceFromWaitUntilStoppedWhenItIsNotRunning) {
  BlockingQueue queue(10);
  const auto start = std::chrono::steady_clock::now();

  queue.WaitUntilStopped();

  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(BlockingQueue, TellsWhetherItRunsAndItsSizeWhileItsMutexesAreHeld) {
  BlockingQueue queue(10);
  queue.Start();
  queue.Push("", "line");
  std::atomic<bool> answered{false};
  queue.LockForFork();
  JoiningThread reader([&] {
    EXPECT_TRUE(queue.IsRunning());
    EXPECT_EQ(queue.Size(), 1u);
    answered = true;
  });

  EXPECT_TRUE(WaitUntilTrue([&] { return answered.load(); }));

  queue.UnlockInParent();
}

TEST(BlockingQueue, WakesAWorkerThatWaitsForARecord) {
  SKIP_IF(WhyNoProc());
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  LogRecord taken;
  std::thread waiting = StartAsleep([&] { taken = Pop(queue, worker); });

  queue.Push("", "line");

  waiting.join();
  EXPECT_EQ(taken.second, "line");
}

TEST(BlockingQueue, WakesAWorkerThatWaitsByTheExitMarker) {
  SKIP_IF(WhyNoProc());
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  LogRecord taken("not", "yet");
  std::thread waiting = StartAsleep([&] { taken = Pop(queue, worker); });

  queue.PushExitMarker();

  waiting.join();
  EXPECT_EQ(taken, exitMarker);
}

// The worker wakes when the stop is over and the queue runs for its successor.
TEST(BlockingQueue, SendsAWorkerAwayThatSleptThroughAStopAndAStart) {
  SKIP_IF(WhyNoProc());
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  LogRecord taken("not", "yet");
  std::thread waiting = StartAsleep([&] { taken = Pop(queue, worker); });

  queue.MarkStopped(worker);
  const auto successor = queue.Start();

  waiting.join();
  EXPECT_EQ(taken, exitMarker);
  queue.Push("", "for the successor");
  EXPECT_EQ(Pop(queue, successor).second, "for the successor");
}

TEST(BlockingQueue, WakesAStopperByMarkStopped) {
  SKIP_IF(WhyNoProc());
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  const auto start = std::chrono::steady_clock::now();
  std::thread stopper = StartAsleep([&] { queue.WaitUntilStopped(); });

  queue.MarkStopped(worker);

  stopper.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 9s);
}

TEST(BlockingQueue, LosesAndMixesNothingOfManyPushingThreads) {
  constexpr int threadCount = 8;
  constexpr int linesPerThread = 2000;
  BlockingQueue queue(threadCount * linesPerThread);
  const auto worker = queue.Start();
  std::vector<std::thread> pushers;
  for (int thread = 0; thread < threadCount; ++thread) {
    pushers.emplace_back([&queue, thread] {
      for (int i = 0; i < linesPerThread; ++i)
        queue.Push(std::to_string(thread), std::to_string(i));
    });
  }

  std::map<std::string, int> nextOf;
  for (int i = 0; i < threadCount * linesPerThread; ++i) {
    const LogRecord record = Pop(queue, worker);
    ASSERT_EQ(record.second, std::to_string(nextOf[record.first]++)) << "thread " << record.first;
  }
  for (std::thread& pusher : pushers) pusher.join();

  EXPECT_EQ(nextOf.size(), std::size_t{threadCount});
  EXPECT_EQ(queue.Size(), 0u);
}

// A start goes through all that is queued, and the worker of the start before it
// must not take any of it meanwhile.
TEST(BlockingQueue, LosesAndRepeatsNothingWhenItIsStartedAgainWhileAWorkerTakes) {
  constexpr int lineCount = 200000;
  BlockingQueue queue(lineCount);
  const auto worker = queue.Start();
  for (int i = 0; i < lineCount; ++i) queue.Push("key", "a line with number " + std::to_string(i));
  std::atomic<int> taken{0};
  std::atomic<bool> over{false};
  const JoiningThread starter([&] {
    if (!WaitUntilTrue([&] { return taken > 0; })) return;
    while (!over) queue.Start();
  });
  // Before the thread is waited for, also where an assertion ends the test.
  const std::unique_ptr<std::atomic<bool>, void (*)(std::atomic<bool>*)> atTheEnd(
      &over, [](std::atomic<bool>* flag) { *flag = true; });

  for (int i = 0; i < lineCount; ++i) {
    const LogRecord record = Pop(queue, worker);
    ++taken;
    ASSERT_EQ(record, LogRecord("key", "a line with number " + std::to_string(i)));
  }

  EXPECT_EQ(queue.Size(), 0u);
}

// All of them wait on one condition variable that is always notified for one:
// a stop must set off a chain that reaches every one of them, in whatever order
// they are woken. A missing link leaves a worker asleep for good, or a stopper
// until its time is up.
void SendAllAway(int workerCount, int stopperCount, bool workersAsleep) {
  const auto start = std::chrono::steady_clock::now();
  BlockingQueue queue(10);
  std::vector<std::thread> threads;
  for (int i = 0; i < workerCount; ++i) {
    const std::function<void()> work = [&queue, worker = queue.Start()] {
      TakeLines(queue, worker);
      queue.MarkStopped(worker);
    };
    threads.push_back(workersAsleep ? StartAsleep(work) : std::thread(work));
  }
  queue.Push("", "line");
  for (int i = 0; i < stopperCount; ++i) {
    threads.emplace_back([&queue] {
      queue.PushExitMarker();
      queue.WaitUntilStopped();
    });
  }

  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(queue.IsRunning());
  EXPECT_LT(std::chrono::steady_clock::now() - start, 9s) << "a stopper waited in vain";
}

TEST(BlockingQueue, SendsTwoWorkersAndAStopperAwayByOneExitMarker) {
  SKIP_IF(WhyNoProc());
  for (int round = 0; round < 300; ++round) SendAllAway(2, 1, round % 2 == 0);
}

TEST(BlockingQueue, SendsAWorkerAndTwoStoppersAway) {
  SKIP_IF(WhyNoProc());
  for (int round = 0; round < 300; ++round) SendAllAway(1, 2, round % 2 == 0);
}

TEST(BlockingQueue, SendsThreeWorkersAndThreeStoppersAway) {
  SKIP_IF(WhyNoProc());
  for (int round = 0; round < 300; ++round) SendAllAway(3, 3, round % 2 == 0);
}

// A start does not notify: the stopper finds out by the next notification, and
// hands that on to the worker it was meant for.
TEST(BlockingQueue, LetsAStopperGoWhenItIsStartedAnew) {
  SKIP_IF(WhyNoProc());
  BlockingQueue queue(10);
  queue.Start();
  queue.PushExitMarker();
  const auto start = std::chrono::steady_clock::now();
  std::thread stopper = StartAsleep([&] { queue.WaitUntilStopped(); });
  const auto newWorker = queue.Start();
  LogRecord taken;
  std::thread waiting = StartAsleep([&] { taken = Pop(queue, newWorker); });

  queue.Push("", "line");

  stopper.join();
  waiting.join();
  EXPECT_EQ(taken.second, "line");
  EXPECT_TRUE(queue.IsRunning());
  EXPECT_LT(std::chrono::steady_clock::now() - start, 9s);
}

// The notification that reached the late worker may have been the stopper's.
TEST(BlockingQueue, LetsAStopperGoWhenALateWorkerLeaves) {
  BlockingQueue queue(10);
  const auto lateWorker = queue.Start();
  queue.PushExitMarker();
  const auto start = std::chrono::steady_clock::now();
  std::thread stopper = StartAsleep([&] { queue.WaitUntilStopped(); });
  queue.Start();  // does not notify

  queue.MarkStopped(lateWorker);

  stopper.join();
  EXPECT_TRUE(queue.IsRunning());
  EXPECT_LT(std::chrono::steady_clock::now() - start, 9s);
}

// The stopper finds out by the notification of a record that is refused.
TEST(BlockingQueue, NotifiesByAPushThatItDropsAsByOneThatItTakes) {
  SKIP_IF(WhyNoProc());
  BlockingQueue queue(0);
  queue.Start();
  queue.PushExitMarker();
  const auto start = std::chrono::steady_clock::now();
  std::thread stopper = StartAsleep([&] { queue.WaitUntilStopped(); });
  queue.Start();

  queue.Push("", "dropped");

  stopper.join();
  EXPECT_EQ(queue.Size(), 0u);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 9s);
}

TEST(SlowBlockingQueue, GivesUpWaitingAfterTenSecondsWhenTheWorkerNeverStops) {
  BlockingQueue queue(10);
  queue.Start();
  const auto start = std::chrono::steady_clock::now();

  queue.WaitUntilStopped();

  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, 9500ms);
  EXPECT_LT(waited, 60s);
  EXPECT_TRUE(queue.IsRunning());
}

// Pushes notify the same condition variable; the deadline is computed once.
TEST(SlowBlockingQueue, GivesUpAfterTenSecondsHoweverOftenItIsWoken) {
  BlockingQueue queue(10);
  queue.Start();
  std::atomic<bool> over{false};
  std::thread pusher([&] {
    while (!over) {
      queue.Push("", "line");
      std::this_thread::sleep_for(50ms);  // spares the processor, promises nothing
    }
  });
  const auto start = std::chrono::steady_clock::now();

  queue.WaitUntilStopped();

  const auto waited = std::chrono::steady_clock::now() - start;
  over = true;
  pusher.join();
  EXPECT_GE(waited, 9500ms);
  EXPECT_LT(waited, 60s);
}

}  // namespace
