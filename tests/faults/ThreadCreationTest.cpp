#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <thread>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "FailingCalls.h"
#include "FakeSleep.h"
#include "ScratchDir.h"
#include "StandardError.h"
#include "Surroundings.h"
#include "WaitUntilTrue.h"
#include "ZinLoggerPrivate.h"

namespace {

std::ptrdiff_t ThreadCount() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

class ThreadCreation : public ::testing::Test {
 protected:
  ThreadCreation() { calls.UseNoAccount(); }

  bool Start() { return logger.StartSystem("app.log", dir.Path().c_str(), 5, 10, INFO, 100, true); }
  bool StartMetrics() {
    return logger.StartSystemForMetrics("metrics.log", dir.Path().c_str(), 5, 10, 100, true);
  }
  void Log(const char* message) {
    logger.Log("file.cpp", 1, "function", " ", "", INFO, "%s", message);
  }

  const ScratchDir dir;
  FailingCalls calls;
  ZinLogger& logger = *ZinLogger::GetInstance();
};

TEST_F(ThreadCreation, LeavesTheStartAsAnExceptionWhenThereIsNoWorker) {
  calls.Fail("thread", EAGAIN, 1);

  try {
    Start();
    FAIL() << "the start has hidden the failure";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EAGAIN);
  }
}

TEST_F(ThreadCreation, LeavesTheStartAsAnExceptionWhenThereIsNoRetentionThread) {
  calls.Fail("thread", EAGAIN, 2);

  EXPECT_THROW(Start(), std::system_error);
}

TEST_F(ThreadCreation, LeavesTheMetricsStartAsAnException) {
  calls.Fail("thread", EAGAIN, 1);

  EXPECT_THROW(StartMetrics(), std::system_error);
}

TEST_F(ThreadCreation, LeavesTheQueueRunningWhenItFails) {
  calls.Fail("thread", EAGAIN, 1);

  EXPECT_THROW(Start(), std::system_error);

  EXPECT_TRUE(FacadeState().logQueue.IsRunning());
}

TEST_F(ThreadCreation, LeavesTheAcceptedNameBehindWhenItFails) {
  calls.Fail("thread", EAGAIN, 1);

  EXPECT_THROW(Start(), std::system_error);

  EXPECT_EQ(logger.GetLogName(), "app.log");
}

TEST_F(ThreadCreation, LosesNoLineWhenALaterStartSucceeds) {
  calls.Fail("thread", EAGAIN, 1);
  EXPECT_THROW(Start(), std::system_error);
  Log("between the starts");

  EXPECT_TRUE(Start());
  Log("after the second start");
  logger.StopSystem();

  const std::string text = dir.Read("app.log");
  EXPECT_NE(text.find("between the starts"), std::string::npos);
  EXPECT_NE(text.find("after the second start"), std::string::npos);
  EXPECT_FALSE(FacadeState().logQueue.IsRunning());
}

TEST_F(ThreadCreation, LeavesAChannelThatWorksWithoutItsRetentionThread) {
  calls.Fail("thread", EAGAIN, 2);
  EXPECT_THROW(Start(), std::system_error);

  Log("written all the same");
  logger.StopSystem();

  EXPECT_NE(dir.Read("app.log").find("written all the same"), std::string::npos);
}

// The flag is still set when the start asks for the thread, and cleared before
// the thread begins.
TEST_F(ThreadCreation, LetsTheRetentionThreadReadTheFlagItself) {
  SKIP_IF(WhyNoProc());
  // A sanitizer starts a thread of its own beside the first one.
  std::thread([] {}).join();
  const auto before = ThreadCount();
  calls.Before(
      "thread", [] { FacadeState().logRunning = false; }, 2);

  EXPECT_TRUE(Start());
  logger.StopSystem();

  EXPECT_TRUE(WaitUntilTrue([&] { return ThreadCount() == before; }));
  EXPECT_EQ(FakeSleep::EnteredCount(), 0);
}

TEST_F(ThreadCreation, RestoresTheSignalMaskWhenItFails) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  calls.Fail("thread", EAGAIN, 1);

  EXPECT_THROW(Start(), std::system_error);

  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
  }
}

TEST_F(ThreadCreation, StartsAWorkerAndARetentionThreadPerChannel) {
  EXPECT_TRUE(Start());
  EXPECT_TRUE(StartMetrics());

  EXPECT_EQ(calls.Of({"thread"}).size(), 4u);
  logger.StopSystem();
}

// Its exit line has a thread of its own, so that a full standard error cannot
// hold up the stop.
TEST_F(ThreadCreation, MayFailForTheExitLineWhichIsWrittenAllTheSame) {
  ASSERT_TRUE(StartMetrics());
  const CapturedStandardError standardError;
  calls.Fail("thread", EAGAIN, 1);

  logger.StopMetricSystem();

  EXPECT_THAT(standardError.Text(), testing::EndsWith("@@@@ METRICS EXIT @@@@\n"));
}

TEST_F(ThreadCreation, CostsNoWaitForALineThatIsWrittenAllTheSame) {
  const CapturedStandardError standardError;
  calls.Fail("thread", EAGAIN, 1);

  const ShortWaitForStandardError shortWait;
  WriteToStandardError("line\n");

  EXPECT_EQ(standardError.Text(), "line\n");
  EXPECT_EQ(shortWait.Waited().count(), 0);
}

}  // namespace
