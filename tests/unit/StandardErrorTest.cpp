#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <streambuf>
#include <thread>
#include <vector>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "LogCalls.h"
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

  std::cerr.exceptions(std::ios_base::goodbit);
  std::cerr.rdbuf(former);
  EXPECT_FALSE(IsBrokenPipeBlocked());
  WriteToStandardError("written");  // no lock is left held
  EXPECT_EQ(standardError.Text(), "written");
}

// Counts how often it is flushed.
class CountingBuffer : public std::streambuf {
 public:
  int flushes = 0;

 protected:
  int sync() override {
    ++flushes;
    return 0;
  }
};

// std::cout belongs to other threads, which may be in the midst of a text.
TEST(StandardError, LeavesAloneTheStreamThatItIsTiedTo) {
  const CapturedStandardError standardError;
  CountingBuffer buffer;
  std::streambuf* const former = std::cout.rdbuf(&buffer);
  ASSERT_EQ(std::cerr.tie(), &std::cout);

  LogText(INFO, "hello");

  std::cout.rdbuf(former);
  EXPECT_EQ(buffer.flushes, 0);
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n");
}

TEST(StandardError, IsFlushedAfterALineUnlessTheProgramHasSaidOtherwise) {
  CountingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  WriteToStandardError("");
  const int flushes = buffer.flushes;
  std::cerr << std::nounitbuf;
  WriteToStandardError("");
  std::cerr << std::unitbuf;
  std::cerr.rdbuf(former);

  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(buffer.flushes, 1);
}

TEST(StandardError, IsMarkedBadWhenItsBufferFails) {
  class FailingBuffer : public std::streambuf {
  } buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  WriteToStandardError("lost");
  EXPECT_TRUE(std::cerr.bad());
  std::cerr.rdbuf(nullptr);
  WriteToStandardError("lost, too");
  EXPECT_TRUE(std::cerr.bad());
  std::cerr.rdbuf(former);
}

TEST(StandardError, IsMarkedBadWhenItsBufferThrowsAndNobodyAskedForThat) {
  ThrowingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  EXPECT_NO_THROW(WriteToStandardError("lost"));
  EXPECT_TRUE(std::cerr.bad());
  std::cerr.rdbuf(former);
}

// A buffer with a lock that a program also holds while it logs.
class LockedBuffer : public std::streambuf {
 public:
  std::mutex mutex;
  std::latch isEntered{1};

 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    isEntered.count_down();
    const std::lock_guard<std::mutex> lock(mutex);
    return size;
  }
};

TEST(StandardError, GoesAroundAThreadThatWaitsInThereForTheCaller) {
  const CapturedStandardError standardError;
  LockedBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  {
    std::jthread other;
    const std::lock_guard<std::mutex> lock(buffer.mutex);
    other = std::jthread([] { WriteToStandardError("in the buffer\n"); });
    buffer.isEntered.wait();

    LogText(INFO, "around it");

    // The other one goes on when the lock is released, before it is joined.
  }
  std::cerr.rdbuf(former);
  EXPECT_EQ(standardError.Text(), infoHeader + "around it\n");
}

// A buffer that logs what it gets.
class LoggingBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    LogText(WARN, std::string(text, static_cast<std::size_t>(size)));
    return size;
  }
};

TEST(StandardError, GoesAroundABufferThatLogsWhatItGets) {
  const CapturedStandardError standardError;
  LoggingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  WriteToStandardError("once\n");
  WriteToStandardError("twice\n");
  std::cerr.rdbuf(former);

  const std::string header =
      "[demo] [2026-01-05 09:03:07.042] [1234] [WARN] [alpha_unit:12] [Work]: ";
  EXPECT_EQ(standardError.Text(), header + "once\n" + header + "twice\n");
}

TEST(StandardError, KeepsTheLinesOfSeveralThreadsApart) {
  constexpr int linesPerThread = 500;
  const CapturedStandardError standardError;
  {
    std::vector<std::jthread> threads;
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
    const std::jthread spoiler([](const std::stop_token& stop) {
      while (!stop.stop_requested()) WriteToStandardError(nullptr);
    });
    for (int i = 0; i < lineCount; ++i) WriteToStandardError("line\n");
  }
  EXPECT_THAT(SplitLines(standardError.Text()), SizeIs(lineCount));
}

}  // namespace
