#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "RunProgram.h"
#include "Sanitizers.h"
#include "Scenario.h"
#include "Surroundings.h"
#include "Text.h"

// The end of a process is normal operation, whatever the channel is doing: no
// crash, no hang, no foreign byte in a file.

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

namespace {

// The thread sanitizer lets every process that ends wait for a second.
constexpr int repetitions = builtWithThreadSanitizer ? 5 : 20;

const std::string filling(60, 'x');

// Whether the message is one of the probe's, whole; those of the library itself
// have another function name, and are not looked at.
bool IsWhole(const std::string& line) {
  if (!line.starts_with("[channel_probe] [")) return false;
  if (line.find("[channel_probe] [", 1) != std::string::npos) return false;
  if (line.find("] [Probe]: ") == std::string::npos) return true;
  int thread = 0;
  int number = 0;
  const std::string message = MessageOf(line);
  return std::sscanf(message.c_str(), "thread %d line %d ", &thread, &number) == 2 &&
         message == "thread " + std::to_string(thread) + " line " + std::to_string(number) + " " +
                        filling + " end";
}

// Every line is whole, but for the last one if it was cut.
void ExpectWholeLines(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  const std::string text = content.str();
  std::vector<std::string> lines = SplitLines(text);
  if (!text.empty() && text.back() != '\n') lines.pop_back();
  for (const std::string& line : lines) ASSERT_TRUE(IsWhole(line)) << path << ": " << line;
}

void ExpectWholeRecords(const std::string& path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line) && !file.eof();) {
    ASSERT_THAT(line, MatchesRegex("thread [1-4] record [0-9]+")) << path;
  }
}

class ProcessExit : public testing::TestWithParam<const char*> {};

TEST_P(ProcessExit, IsClean) {
  for (int i = 0; i < repetitions; ++i) {
    const ScratchDir dir;

    const ProgramResult result = RunProgram({CHANNEL_PROBE, GetParam(), dir.Path()});

    ASSERT_FALSE(result.timedOut);
    ASSERT_EQ(result.signal, 0) << result.standardError;
    ASSERT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
    for (const auto& entry : fs::directory_iterator(dir.Path())) {
      if (entry.is_regular_file()) ExpectWholeLines(entry.path());
    }
    if (dir.Has("metrics")) {
      for (const auto& entry : fs::directory_iterator(dir / "metrics")) {
        ExpectWholeRecords(entry.path());
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kind, ProcessExit,
                         testing::Values("return-from-main", "return-while-threads-log",
                                         "return-with-two-workers", "return-with-a-stalled-worker",
                                         "return-after-stop", "exit-in-a-thread",
                                         "exit-in-a-thread-while-threads-log", "quick-exit",
                                         "underscore-exit", "static-objects-while-running",
                                         "return-while-threads-write-to-standard-error"),
                         [](const auto& kind) {
                           std::string name = kind.param;
                           std::erase(name, '-');
                           return name;
                         });

TEST(ProcessExitAfterStop, LeavesEveryLineInTheFile) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "return-after-stop", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardError;
  std::vector<std::string> expected;
  for (int i = 0; i < 20000; ++i) {
    expected.push_back("thread 0 line " + std::to_string(i) + " " + filling + " end");
  }
  std::vector<std::string> messages;
  for (const std::string& line : dir.LinesOf("app.log")) {
    if (line.find("] [Probe]: ") != std::string::npos) messages.push_back(MessageOf(line));
  }
  EXPECT_EQ(messages, expected);
}

TEST(ProcessExitWithStaticObjects, LetsThoseLogThatTheLoggerOutlivesAndNoOthers) {
  for (int i = 0; i < repetitions; ++i) {
    const ProgramResult result = RunProgram({CHANNEL_PROBE, "static-objects"});

    ASSERT_EQ(result.exitCode, 0) << result.standardError;
    ASSERT_THAT(MessagesOf(SplitLines(result.standardError)),
                ElementsAre("from main", "from an object that the logger outlives"));
  }
}

TEST(ProcessExitWithStaticObjects, SendsTheWorkersAwayWithTheLoggersDestruction) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "workers-after-destruction", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
}

TEST(ProcessExitWithStaticObjects, MakesEveryCallAfterTheLoggersDestructionDoNothing) {
  SKIP_IF(WhyNoProc());
  for (int i = 0; i < repetitions; ++i) {
    const ScratchDir dir;

    const ProgramResult result = RunProgram({CHANNEL_PROBE, "after-destruction", dir.Path()});

    ASSERT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
    ASSERT_EQ(result.standardOutput, "");
    ASSERT_EQ(result.standardError, "");
    ASSERT_FALSE(dir.Has("late.log"));
  }
}

}  // namespace
