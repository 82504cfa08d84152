#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "FacadeState.h"
#include "LogCalls.h"
#include "LogFileStream.h"
#include "OpenDescriptors.h"
#include "OpenQueue.h"
#include "RecentLogCache.h"
#include "ScratchDir.h"
#include "Surroundings.h"
#include "Threads.h"
#include "WaitUntilTrue.h"
#include "ZinDirOwnership.h"
#include "ZinForkMutex.h"
#include "ZinLoggerPrivate.h"

using ::testing::ExitedWithCode;

namespace {

// The children here end by exit, so that their exit handlers run, too.

TEST(AtFork, SendsTheLinesOfAChildToStandardErrorWhileItsParentsChannelsRun) {
  OpenQueue logQueue(FacadeState().logQueue);
  OpenQueue metricsQueue(FacadeState().metricsQueue);

  const auto logInChild = [] {
    LogText(INFO, "of the child");
    ZinLogger::GetInstance()->Metrics("%s", "a record");
    std::exit(0);
  };
  EXPECT_EXIT(logInChild(), ExitedWithCode(0), "of the child\na record\n");

  EXPECT_EQ(logQueue.Size(), 0u);
  EXPECT_EQ(metricsQueue.Size(), 0u);
}

TEST(AtFork, LeavesTheParentsChannelsRunning) {
  OpenQueue queue(FacadeState().logQueue);
  EXPECT_EXIT(std::exit(7), ExitedWithCode(7), "");

  LogText(INFO, "of the parent");

  EXPECT_EQ(queue.Take().second, infoHeader + "of the parent\n");
}

TEST(AtFork, LeavesTheChildACacheThatItCanUse) {
  LogText(WARN, "before");
  (void)TakeCachedLines();
  LogText(INFO, "of the parent");

  const auto countInChild = [] {
    LogText(INFO, "of the child");
    std::exit(TakeCachedLines() == infoHeader + "of the parent\n" + infoHeader + "of the child\n"
                  ? 0
                  : 1);
  };
  EXPECT_EXIT(countInChild(), ExitedWithCode(0), "of the child");
}

// Registered before the library's handlers, so it runs after them: at the last
// moment before the process is copied.
std::function<void()> atTheLastMoment;
[[gnu::constructor(101)]] void RegisterBeforeTheLibrary() {
  (void)pthread_atfork(
      [] {
        if (const auto action = std::exchange(atTheLastMoment, nullptr)) action();
      },
      nullptr, nullptr);
}

// A child would find what the thread has half done, and its lock taken for good.
TEST(AtFork, LetsNoOtherThreadIntoTheLibrarysStateWhileTheProcessIsCopied) {
  ZinLoggerPrivate& state = FacadeState();
  state.logQueue.SetCapacity(1);
  const BlockingQueue::Generation generation = state.logQueue.Start();
  state.logQueue.Push("", "a line");
  LogRecord record;
  const ScratchDir dir;
  std::unique_ptr<LogFileStream> stream;
  const std::vector<std::pair<const char*, std::function<void()>>> steps = {
      {"log queue", [&] { state.logQueue.SetCapacity(5); }},
      {"its worker", [&] { state.logQueue.WaitPop(generation, record); }},
      {"metrics queue", [&] { state.metricsQueue.SetCapacity(5); }},
      {"metrics buffer", [&] { const std::lock_guard lock(state.metricsBufferMutex); }},
      {"recent lines", [] { RecentLogCache::Instance().Append("a line"); }},
      {"failed owners", [] { (void)FailedOwnerNames::Instance().Insert("nobody-of-that-name"); }},
      {"open files", [&] { stream = LogFileStream::Open(dir / "app.log"); }}};
  struct Caller {
    std::atomic<pid_t> thread{0};
    std::atomic<bool> done{false};
    bool waited = false;
    std::jthread body;
  };
  std::array<Caller, 7> callers;
  ASSERT_EQ(steps.size(), callers.size());
  std::atomic<bool> go{false};
  for (std::size_t i = 0; i < steps.size(); ++i) {
    callers[i].body = std::jthread([&go, &caller = callers[i], &step = steps[i].second] {
      go.wait(false);
      caller.thread = gettid();
      step();
      caller.done = true;
    });
  }
  atTheLastMoment = [&] {
    go = true;
    go.notify_all();
    for (Caller& caller : callers) {
      EXPECT_TRUE(WaitUntilTrue([&caller] {
        return caller.done || (caller.thread != 0 && WaitsToBeWoken(caller.thread));
      }));
      caller.waited = !caller.done;
    }
  };

  const pid_t child = fork();
  if (child == 0) _exit(0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  for (Caller& caller : callers) caller.body.join();

  for (std::size_t i = 0; i < steps.size(); ++i) EXPECT_TRUE(callers[i].waited) << steps[i].first;
}

// Else it would be alone with the state of others for ever after.
TEST(AtFork, KeepsTheThreadThatForkedOutOfALockLikeAnyOtherOnceItIsOver) {
  ZinForkMutex mutex;
  mutex.LockForFork();
  mutex.UnlockAfterFork();
  const std::lock_guard lock(mutex);

  bool isFree = true;
  std::jthread([&] {
    isFree = mutex.try_lock();
    if (isFree) mutex.unlock();
  }).join();

  EXPECT_FALSE(isFree);
}

// A child has no use for them: they would be passed on to its own children, and
// what the parent removes would stay on the disk.
TEST(AtFork, ClosesTheParentsLogFilesInTheChildAlone) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");
  const auto lost = LogFileStream::Open(dir / "lost.log");
  // The program has closed this one, and uses its number for a file of its own.
  const int number = DescriptorsOf(dir / "lost.log").at(0);
  dir.Write("own.txt", "");
  const int own = open((dir / "own.txt").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(dup3(own, number, O_CLOEXEC), number);

  const auto exitInChild = [&] {
    const bool closed = DescriptorsOf(dir / "app.log").empty();
    const bool kept = DescriptorsOf(dir / "own.txt").size() == 2;
    std::exit(closed && kept ? 0 : 1);
  };
  EXPECT_EXIT(exitInChild(), ExitedWithCode(0), "");

  stream->Write("of the parent");
  EXPECT_EQ(dir.Read("app.log"), "of the parent");
}

}  // namespace
