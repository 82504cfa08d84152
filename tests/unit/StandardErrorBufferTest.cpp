#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <latch>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>

#include "CapturedStandardError.h"
#include "JoiningThread.h"
#include "LogCalls.h"
#include "StandardError.h"

// A buffer of the program's own in std::cerr.

using namespace std::chrono_literals;

namespace {

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
TEST(StandardErrorBuffer, IsWrittenToPastTheStreamThatStandardErrorIsTiedTo) {
  const CapturedStandardError standardError;
  CountingBuffer buffer;
  std::streambuf* const former = std::cout.rdbuf(&buffer);
  ASSERT_EQ(std::cerr.tie(), &std::cout);

  LogText(INFO, "hello");

  std::cout.rdbuf(former);
  EXPECT_EQ(buffer.flushes, 0);
  EXPECT_EQ(standardError.Text(), infoHeader + "hello\n");
}

TEST(StandardErrorBuffer, IsFlushedAfterALineUnlessTheProgramHasSaidOtherwise) {
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

TEST(StandardErrorBuffer, ThatFailsMarksTheStreamBad) {
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

class ThrowingBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize) override { throw std::length_error("full"); }
};

TEST(StandardErrorBuffer, ThatThrowsMarksTheStreamBadWhenNobodyAskedItToThrow) {
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

TEST(StandardErrorBuffer, IsLeftToTheThreadInsideThatWaitsForTheCaller) {
  const CapturedStandardError standardError;
  LockedBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  {
    std::optional<JoiningThread> other;
    const std::lock_guard<std::mutex> lock(buffer.mutex);
    other.emplace([] { WriteToStandardError("in the buffer\n"); });
    buffer.isEntered.wait();

    const auto start = std::chrono::steady_clock::now();
    LogText(INFO, "around it");
    LogText(INFO, "again");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3500ms);  // a second each

    // The other one goes on when the lock is released, before it is joined.
  }
  std::cerr.rdbuf(former);
  EXPECT_EQ(standardError.Text(), infoHeader + "around it\n" + infoHeader + "again\n");
}

// A buffer that logs what it gets.
class LoggingBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    LogText(WARN, std::string(text, static_cast<std::size_t>(size)));
    return size;
  }
};

TEST(StandardErrorBuffer, ThatLogsWhatItGetsIsGoneAround) {
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

// The thread that is inside need not wait for itself, a second with each line.
TEST(StandardErrorBuffer, ThatLogsWhatItGetsIsGoneAroundAtOnce) {
  const CapturedStandardError standardError;
  LoggingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  const auto start = std::chrono::steady_clock::now();
  for (int line = 0; line < 3; ++line) WriteToStandardError("line\n");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2500ms);
  std::cerr.rdbuf(former);
}

class SlowBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    std::this_thread::sleep_for(100ms);
    return size;
  }
};

TEST(StandardErrorBuffer, IsWaitedForUntilItHasTheLineAndNoLonger) {
  SlowBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  const ShortWaitForStandardError shortWait;
  for (int line = 0; line < 3; ++line) WriteToStandardError("line\n");
  EXPECT_GE(shortWait.Waited(), 290ms);
  EXPECT_LT(shortWait.Waited(), 2500ms);  // a second each without a word from the writer
  std::cerr.rdbuf(former);
}

// Notes which thread writes.
class NotingBuffer : public std::streambuf {
 public:
  std::thread::id writer;

 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    writer = std::this_thread::get_id();
    return size;
  }
};

TEST(StandardErrorBuffer, IsWrittenByTheCallersThreadUnlessThatHasAskedForAShortWait) {
  NotingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  {
    const ShortWaitForStandardError shortWait;
    WriteToStandardError("line\n");
    EXPECT_NE(buffer.writer, std::this_thread::get_id());
  }
  WriteToStandardError("line\n");
  EXPECT_EQ(buffer.writer, std::this_thread::get_id());
  std::cerr.rdbuf(former);
}

// A child that goes on from within the buffer, as one that puts a buffer of its
// own in this one's place.
class ForkingBuffer : public std::streambuf {
 public:
  bool childsBufferIsUsed = false;

 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    const pid_t child = fork();
    if (child == 0) {
      NotingBuffer own;
      std::cerr.rdbuf(&own);
      WriteToStandardError("of the child\n");
      _exit(own.writer == std::this_thread::get_id() ? 0 : 1);
    }
    int status = -1;
    childsBufferIsUsed = waitpid(child, &status, 0) == child && status == 0;
    return size;
  }
};

TEST(StandardErrorBuffer, OfAChildThatWasMadeWithinTheParentsIsUsed) {
  ForkingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  WriteToStandardError("line\n");
  std::cerr.rdbuf(former);
  EXPECT_TRUE(buffer.childsBufferIsUsed);
}

// Going around it is in vain then, and that is all.
TEST(StandardErrorBuffer, ThatLogsMayDoSoWhenDescriptorTwoIsClosed) {
  const CapturedStandardError restoresItLater;
  LoggingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  ASSERT_EQ(close(STDERR_FILENO), 0);

  WriteToStandardError("lost\n");

  std::cerr.rdbuf(former);
  EXPECT_THAT(TakeCachedLines(), testing::EndsWith("lost\n"));
}

class NullBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    WriteToStandardError(nullptr);
    return size;
  }
};

TEST(StandardErrorBuffer, ThatPassesANullLineOnWritesNothing) {
  const CapturedStandardError standardError;
  NullBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);

  WriteToStandardError("line\n");

  EXPECT_TRUE(std::cerr.good());
  std::cerr.rdbuf(former);
  EXPECT_EQ(standardError.Text(), "");
}

}  // namespace
