#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "JoiningThread.h"
#include "LogCalls.h"
#include "Sanitizers.h"
#include "StandardError.h"
#include "Text.h"
#include "ZinLoggerPrivate.h"

using ::testing::Each;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

namespace {

// Makes descriptor 2 a pipe without a reader while it lives.
class BrokenStandardError {
 public:
  BrokenStandardError() : original(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    EXPECT_GE(dup2(ends[1], STDERR_FILENO), 0);
    (void)close(ends[0]);
    (void)close(ends[1]);
  }
  ~BrokenStandardError() {
    (void)dup2(original, STDERR_FILENO);
    (void)close(original);
  }
  BrokenStandardError(const BrokenStandardError&) = delete;
  BrokenStandardError& operator=(const BrokenStandardError&) = delete;

 private:
  int original;
};

bool IsBrokenPipePending() {
  sigset_t pending;
  sigemptyset(&pending);
  EXPECT_EQ(sigpending(&pending), 0);
  return sigismember(&pending, SIGPIPE) == 1;
}

bool IsBrokenPipeBlocked() {
  sigset_t mask;
  sigemptyset(&mask);
  EXPECT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &mask), 0);
  return sigismember(&mask, SIGPIPE) == 1;
}

void BlockBrokenPipe() {
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  EXPECT_EQ(pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr), 0);
}

TEST(StandardError, GetsALineAsItStands) {
  const CapturedStandardError standardError;
  WriteToStandardError("no newline, 100 %s");
  WriteToStandardError("");
  WriteToStandardError("; the next\n");
  EXPECT_EQ(standardError.Text(), "no newline, 100 %s; the next\n");
}

TEST(StandardError, IsTriedAfreshWhenTheStreamWasLeftBad) {
  const CapturedStandardError standardError;
  std::cerr.setstate(std::ios_base::badbit | std::ios_base::failbit);
  LogText(INFO, "hello");
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n");
  EXPECT_TRUE(std::cerr.good());
}

TEST(StandardError, IsOnlyMarkedBadByANullLine) {
  const CapturedStandardError standardError;
  std::cerr.setstate(std::ios_base::eofbit);
  FacadeState().forcedLog("", nullptr);
  EXPECT_TRUE(std::cerr.bad());
  EXPECT_TRUE(std::cerr.eof());
  EXPECT_EQ(standardError.Text(), "");
}

TEST(StandardError, IsOnlyMarkedBadByANullMetricsText) {
  const CapturedStandardError standardError;
  std::cerr.setstate(std::ios_base::eofbit);
  FacadeState().forcedLogForMetrics(nullptr);
  EXPECT_TRUE(std::cerr.bad());
  EXPECT_TRUE(std::cerr.eof());
  EXPECT_EQ(standardError.Text(), "");
}

TEST(StandardError, GetsTheLineAfterANullLine) {
  const CapturedStandardError standardError;
  FacadeState().forcedLog("", nullptr);
  FacadeState().forcedLog("", "next\n");
  FacadeState().forcedLogForMetrics(nullptr);
  FacadeState().forcedLogForMetrics("record\n");
  EXPECT_EQ(standardError.Text(), "next\nrecord\n");
}

TEST(StandardError, MayBeAPipeWithoutAReader) {
  const BrokenStandardError broken;
  LogText(INFO, "nobody reads this");
  EXPECT_FALSE(IsBrokenPipePending());
  EXPECT_FALSE(IsBrokenPipeBlocked());
  EXPECT_EQ(TakeCachedLines(), infoHeader + "nobody reads this\n");
}

TEST(StandardError, KeepsErrnoWhenThePipeHasNoReader) {
  const BrokenStandardError broken;
  errno = EXDEV;
  LogText(INFO, "nobody reads this");
  EXPECT_EQ(errno, EXDEV);
}

TEST(StandardError, KeepsErrnoOfARecordWhenThePipeHasNoReader) {
  const BrokenStandardError broken;
  errno = EXDEV;
  ZinLogger::GetInstance()->Metrics("nobody reads this");
  EXPECT_EQ(errno, EXDEV);
}

TEST(StandardError, KeepsErrnoOfARecordThatIsReportedWhenThePipeHasNoReader) {
  const BrokenStandardError broken;
  errno = EXDEV;
  ZinLogger::GetInstance()->Metrics("%s", "");
  EXPECT_EQ(errno, EXDEV);
}

TEST(StandardError, GetsTheNextLineOnceItWorksAgain) {
  {
    const BrokenStandardError broken;
    LogText(INFO, "lost");
  }
  const CapturedStandardError standardError;
  LogText(INFO, "found");
  EXPECT_EQ(standardError.Text(), infoHeader + "found\n");
}

TEST(StandardError, LeavesABrokenPipeSignalOfTheApplicationPending) {
  BlockBrokenPipe();
  EXPECT_EQ(raise(SIGPIPE), 0);
  const BrokenStandardError broken;
  LogText(INFO, "nobody reads this");
  EXPECT_TRUE(IsBrokenPipePending());
  EXPECT_TRUE(IsBrokenPipeBlocked());
}

TEST(StandardError, MayBeClosed) {
  const CapturedStandardError restoresItLater;
  EXPECT_EQ(close(STDERR_FILENO), 0);
  LogText(INFO, "goes nowhere");
  EXPECT_EQ(TakeCachedLines(), infoHeader + "goes nowhere\n");
}

TEST(StandardError, MayBeAStreamThatThrows) {
  const BrokenStandardError broken;
  std::cerr.exceptions(std::ios_base::badbit);
  LogText(INFO, "lost");
  LogText(INFO, "lost, too");
  EXPECT_TRUE(std::cerr.bad());
  std::cerr.exceptions(std::ios_base::goodbit);
}

// A buffer of the application's own, with an exception of its own.
class ThrowingBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type) override { throw std::length_error("full"); }
  std::streamsize xsputn(const char*, std::streamsize) override { throw std::length_error("full"); }
};

TEST(StandardError, PassesOnAnExceptionThatIsNotAStreams) {
  const CapturedStandardError standardError;
  ThrowingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  std::cerr.exceptions(std::ios_base::badbit);

  EXPECT_THROW(WriteToStandardError("lost"), std::length_error);
  EXPECT_TRUE(std::cerr.bad());

  std::cerr.exceptions(std::ios_base::goodbit);
  std::cerr.rdbuf(former);
  EXPECT_FALSE(IsBrokenPipeBlocked());
  WriteToStandardError("written");  // no lock is left held
  EXPECT_EQ(standardError.Text(), "written");
}

// The address sanitizer cannot follow a thread whose stack is unwound by its end.
#ifndef ZIN_TEST_ADDRESS_SANITIZER
// Unwinding out of a log call, which lets nothing pass, would end the process.
TEST(StandardError, GetsTheLineOfAThreadThatIsCancelledAndThenTheThreadEnds) {
  const CapturedStandardError standardError;
  pthread_t thread{};
  const auto body = [](void*) -> void* {
    pthread_cancel(pthread_self());  // the next wait or write may be the last
    LogText(INFO, "the last line");
    pthread_testcancel();
    LogText(INFO, "of a thread that goes on");
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);

  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_EQ(standardError.Text(), infoHeader + "the last line\n");
}
#endif

TEST(StandardError, GetsTheRecordOfAThreadThatIsCancelled) {
  const CapturedStandardError standardError;
  pthread_t thread{};
  const auto body = [](void*) -> void* {
    pthread_cancel(pthread_self());
    ZinLogger::GetInstance()->Metrics("the last record");
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);

  EXPECT_EQ(standardError.Text(), "the last record\n");
}

// Descriptor 2 is a pipe that takes no more bytes, until they are read.
class FullStandardError {
 public:
  FullStandardError() : original(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    while (write(ends[1], "x", 1) == 1) continue;
    EXPECT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
    EXPECT_GE(dup2(ends[1], STDERR_FILENO), 0);
  }
  ~FullStandardError() {
    (void)dup2(original, STDERR_FILENO);
    for (const int descriptor : {ends[0], ends[1], original}) (void)close(descriptor);
  }
  FullStandardError(const FullStandardError&) = delete;
  FullStandardError& operator=(const FullStandardError&) = delete;

  // What is in the pipe, but for what has filled it.
  std::string Read() const {
    std::string text;
    for (char byte = 0; read(ends[0], &byte, 1) == 1;) {
      if (byte != 'x') text += byte;
    }
    return text;
  }

 private:
  int original;
  std::array<int, 2> ends{};
};

TEST(StandardError, IsWaitedForAgainByAThreadThatHasStoppedNotToWait) {
  const FullStandardError standardError;
  std::atomic<bool> written{false};
  std::string text;
  {
    const JoiningThread writer([&written] {
      {
        const NoWaitForStandardError noWait;
        WriteToStandardError("lost\n");
      }
      WriteToStandardError("late\n");
      written = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(written);
    text = standardError.Read();
  }
  EXPECT_EQ(text + standardError.Read(), "late\n");
}

TEST(StandardError, KeepsTheLinesOfSeveralThreadsApart) {
  constexpr int linesPerThread = 500;
  const CapturedStandardError standardError;
  {
    std::vector<JoiningThread> threads;
    for (const char letter : {'a', 'b', 'c', 'd'}) {
      threads.emplace_back([line = std::string(80, letter) + "\n"] {
        for (int i = 0; i < linesPerThread; ++i) WriteToStandardError(line.c_str());
      });
    }
  }
  const std::vector<std::string> lines = SplitLines(standardError.Text());
  EXPECT_THAT(lines, SizeIs(4 * linesPerThread));
  EXPECT_THAT(lines, Each(MatchesRegex("a{80}|b{80}|c{80}|d{80}")));
}

TEST(StandardError, LosesNoLineToNullLinesOfAnotherThread) {
  constexpr int lineCount = 40000;
  const CapturedStandardError standardError;
  {
    std::atomic<bool> done{false};
    const JoiningThread spoiler([&done] {
      while (!done) WriteToStandardError(nullptr);
    });
    for (int i = 0; i < lineCount; ++i) WriteToStandardError("line\n");
    done = true;
  }
  EXPECT_THAT(SplitLines(standardError.Text()), SizeIs(lineCount));
}

}  // namespace
