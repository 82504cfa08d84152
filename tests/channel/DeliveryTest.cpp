#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "CapturedStandardError.h"
#include "ProcessSettings.h"
#include "Scenario.h"
#include "Text.h"
#include "WaitUntilTrue.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

TEST(Delivery, WritesEveryLineLoggedBeforeTheStopInOrder) {
  const ScratchDir dir;
  StartLogChannel(dir);

  LogNumberedLines(5000);
  Logger().StopSystem();

  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(5000));
}

TEST(Delivery, GivesALineItsWholeHeader) {
  const ScratchDir dir;
  StartLogChannel(dir);

  LogLineAndWait(dir, "hello");
  Logger().StopSystem();

  const std::string thread = std::to_string(gettid());
  EXPECT_THAT(dir.LinesOf("app.log"),
              Contains(MatchesRegex(
                  "\\[channel_tests\\] "
                  "\\[[0-9]{4}-[0-9]{2}-[0-9]{2} "
                  "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\\] "
                  "\\[" +
                  thread + "\\] \\[INFO\\] \\[Scenario\\.cpp:1\\] \\[Scenario\\]: hello")));
}

TEST(Delivery, LosesAndTearsNoLineOfSixteenThreads) {
  constexpr int threadCount = 16;
  constexpr int linesPerThread = 1000;
  const ScratchDir dir;
  StartLogChannel(dir);
  // Lengths differ, so that a line in a wrong place cannot pass for a whole one.
  const auto message = [](int thread, int line) {
    return "thread " + std::to_string(thread) + " line " + std::to_string(line) + " " +
           std::string(static_cast<std::size_t>((thread * 37 + line) % 200), 'x') + " end";
  };

  std::vector<std::thread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      for (int line = 0; line < linesPerThread; ++line) LogLine(message(thread, line));
    });
  }
  for (std::thread& thread : threads) thread.join();
  Logger().StopSystem();

  const std::vector<std::string> lines = dir.LinesOf("app.log");
  for (const std::string& line : lines) ASSERT_THAT(line, StartsWith("[channel_tests] ["));
  const std::vector<std::string> messages = OwnMessages(lines);
  ASSERT_EQ(messages.size(), std::size_t{threadCount * linesPerThread});
  std::vector<int> nextLine(threadCount, 0);
  for (const std::string& text : messages) {
    const int thread = std::stoi(text.substr(text.find(' ') + 1));
    ASSERT_GE(thread, 0);
    ASSERT_LT(thread, threadCount);
    ASSERT_EQ(text, message(thread, nextLine[static_cast<std::size_t>(thread)]++));
  }
}

TEST(Delivery, CreatesNothingBeforeTheFirstLine) {
  const ScratchDir dir;
  Logger().LimitLogPathSize(1000, 1000);
  ASSERT_TRUE(Logger().StartSystem("app.log", (dir / "not/yet").c_str(), 5, 1, INFO, plenty, true));

  EXPECT_THAT(dir.Names(), IsEmpty());

  LogLine("first");
  Logger().StopSystem();
  EXPECT_THAT(OwnMessages(dir, "not/yet/app.log"), ElementsAre("first"));
  EXPECT_EQ(dir.ModeOf("not/yet"), mode_t{0750});
  EXPECT_EQ(dir.ModeOf("not/yet/app.log"), mode_t{0640});
}

TEST(Delivery, WritesIntoTheWorkingDirectoryWhenTheDirectoryIsNull) {
  const ScratchDir dir;
  const ScopedWorkingDirectory inThere(dir.Path());
  Logger().LimitLogPathSize(1000, 1000);

  EXPECT_TRUE(Logger().StartSystem("app.log", nullptr, 5, 1, INFO, plenty, true));
  LogLine("here");
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("here"));
}

TEST(Delivery, WritesEachSubDirectoryKeyIntoAFileOfItsOwn) {
  const ScratchDir dir;
  StartLogChannel(dir);

  LogLine("main 1");
  LogLine("net 1", "net");
  LogLine("deep 1", "net/deep");
  LogLine("net 2", "net");
  LogLine("main 2");
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("main 1", "main 2"));
  EXPECT_THAT(OwnMessages(dir, "net/app.log"), ElementsAre("net 1", "net 2"));
  EXPECT_THAT(OwnMessages(dir, "net/deep/app.log"), ElementsAre("deep 1"));
}

TEST(Delivery, WritesTheLinesOfTheLevelThatTheStartSets) {
  const ScratchDir dir;
  StartLogChannel(dir, {.level = DEBUG});
  LogLine("debug, all is let through", "", DEBUG);
  Logger().SetLogLevel(ERROR);
  LogLine("warning, too low by now", "", WARN);
  LogLine("error", "", ERROR);
  Logger().SetLogLevel(static_cast<LogLevel>(-1));
  LogLine("fatal, but silenced", "", FATAL);
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("debug, all is let through", "error"));
}

TEST(Delivery, DropsEveryLineAtCapacityZeroAndStillKeepsThemInTheCache) {
  const ScratchDir dir;
  StartLogChannel(dir, {.queueCapacity = 0});
  const CapturedStandardError standardError;

  LogNumberedLines(3);
  const std::string cached = ZinGetCacheLog(10);
  Logger().StopSystem();

  EXPECT_THAT(dir.Names(), IsEmpty());
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(OwnMessages(SplitLines(cached)), NumberedLines(3));
}

// The worker is held up: it waits for somebody to write to the pipe that it
// finds in the place of its file.
TEST(Delivery, DropsTheLinesThatFindTheQueueFullAndStillKeepsThemInTheCache) {
  const ScratchDir dir;
  ASSERT_EQ(mkfifo((dir / "app.log").c_str(), 0600), 0);
  StartLogChannel(dir, {.queueCapacity = 5});
  const CapturedStandardError standardError;

  LogNumberedLines(20);

  EXPECT_EQ(OwnMessages(SplitLines(ZinGetCacheLog(100))), NumberedLines(20));
  EXPECT_EQ(standardError.Text(), "");
  const int writer = open((dir / "app.log").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  EXPECT_TRUE(WaitUntilTrue([&] {
    struct stat status {};
    return stat((dir / "app.log").c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           OwnMessages(dir, "app.log").size() >= 5;
  }));
  (void)close(writer);
  Logger().StopSystem();
  std::vector<std::string> written = OwnMessages(dir, "app.log");
  // Five that were queued, and one more if the worker held the first by then.
  EXPECT_GE(written.size(), 5u);
  EXPECT_LE(written.size(), 6u);
  written.resize(5);
  EXPECT_EQ(written, NumberedLines(5));
}

}  // namespace
