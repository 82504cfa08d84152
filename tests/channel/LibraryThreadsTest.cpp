#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "Scenario.h"
#include "Surroundings.h"
#include "Threads.h"
#include "WaitUntilTrue.h"

using testing::SizeIs;

namespace {

const std::vector<std::string> threadNames = {"zin-log-worker", "zin-log-keeper", "zin-met-worker",
                                              "zin-met-keeper"};

void StartBothChannels(const ScratchDir& dir) {
  StartLogChannel(dir);
  StartMetricsChannel(dir / "metrics");
  // A thread bears its creator's name until it sets its own.
  ASSERT_TRUE(WaitUntilTrue([] {
    for (const std::string& name : threadNames) {
      if (ThreadsNamed(name).size() != 1) return false;
    }
    return true;
  }));
}

TEST(LibraryThreads, AreTwoPerChannelAndHaveNames) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;

  StartBothChannels(dir);

  for (const std::string& name : threadNames) EXPECT_THAT(ThreadsNamed(name), SizeIs(1)) << name;
  Logger().StopSystem();
}

TEST(LibraryThreads, BlockEverySignal) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  StartBothChannels(dir);

  for (const std::string& name : threadNames) {
    const std::uint64_t blocked = BlockedSignalsOf(ThreadsNamed(name).at(0));
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
      // Two cannot be blocked, and the C library keeps those below SIGRTMIN.
      const bool reserved =
          signal == SIGKILL || signal == SIGSTOP || (signal > SIGSYS && signal < SIGRTMIN);
      if (!reserved) {
        EXPECT_TRUE((blocked >> (signal - 1)) & 1) << name << ", signal " << signal;
      }
    }
  }
  Logger().StopSystem();
}

TEST(LibraryThreads, LeaveTheSignalMaskOfTheStartingThreadAsItWas) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const std::uint64_t before = BlockedSignalsOf(gettid());

  StartBothChannels(dir);

  EXPECT_EQ(BlockedSignalsOf(gettid()), before);
  Logger().StopSystem();
}

std::atomic<int> handlerCalls{0};
std::atomic<pid_t> handlingThread{0};

void CountSignal(int) {
  handlingThread = gettid();
  ++handlerCalls;
}

// The signal is sent to the process while its only other thread blocks it: a
// library thread that did not would have to take it.
TEST(LibraryThreads, NeverRunASignalHandlerOfTheApplication) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  StartBothChannels(dir);
  struct sigaction action {};
  action.sa_handler = CountSignal;
  ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
  sigset_t userSignal;
  sigemptyset(&userSignal);
  sigaddset(&userSignal, SIGUSR1);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &userSignal, nullptr), 0);

  ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
  // The worker has been awake since.
  LogLineAndWait(dir, "line");

  EXPECT_EQ(handlerCalls, 0);
  ASSERT_EQ(pthread_sigmask(SIG_UNBLOCK, &userSignal, nullptr), 0);
  EXPECT_TRUE(WaitUntilTrue([] { return handlerCalls == 1; }));
  EXPECT_EQ(handlingThread, gettid());
  Logger().StopSystem();
}

}  // namespace
