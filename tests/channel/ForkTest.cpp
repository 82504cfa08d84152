#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "Sanitizers.h"
#include "Scenario.h"
#include "Text.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr int rounds = 100;
constexpr int threadCount = 4;
constexpr int linesPerThread = rounds * 100;
constexpr int linesPerChild = 20;

// The messages of the probe's own lines; a line that is none of the library's
// has no business in the text.
std::vector<std::string> ProbeMessages(const std::vector<std::string>& lines) {
  std::vector<std::string> messages;
  for (const std::string& line : lines) {
    EXPECT_TRUE(line.starts_with("[channel_probe] [")) << line;
    if (line.find("] [Probe]: ") != std::string::npos) messages.push_back(MessageOf(line));
  }
  return messages;
}

// The lines "thread <t> <what> <n>" come from every thread, once and in order.
void ExpectEachThreadsLinesOnce(const std::vector<std::string>& lines, const std::string& what) {
  std::vector<int> next(threadCount, 0);
  for (const std::string& line : lines) {
    const int thread = line.size() > 7 ? line[7] - '0' : -1;
    ASSERT_GE(thread, 0) << line;
    ASSERT_LT(thread, threadCount) << line;
    ASSERT_EQ(line, "thread " + std::to_string(thread) + " " + what + " " +
                        std::to_string(next[static_cast<std::size_t>(thread)]++));
  }
  EXPECT_THAT(next, testing::Each(linesPerThread));
}

// Lines of a child bear its process id, as message and as thread id: the main
// thread's is the process's.
void ExpectLinesOfChild(const std::vector<std::string>& lines, int round) {
  int next = 0;
  for (const std::string& line : lines) {
    if (line.find("] [Probe]: ") == std::string::npos) continue;
    int process = 0;
    ASSERT_EQ(std::sscanf(MessageOf(line).c_str(), "child %*d process %d", &process), 1) << line;
    EXPECT_EQ(MessageOf(line), "child " + std::to_string(round) + " process " +
                                   std::to_string(process) + " line " + std::to_string(next++));
    EXPECT_THAT(line, HasSubstr("] [" + std::to_string(process) + "] [INFO] "));
  }
  EXPECT_EQ(next, linesPerChild) << "round " << round;
}

// Every fifth child logs, starts channels of its own, calls exit, _exit, exec.
TEST(Fork, OutOfALoggingProcessHarmsNeitherTheParentNorAnyChild) {
  const ScratchDir dir;

  const ProgramResult result =
      RunProgram({CHANNEL_PROBE, "fork-logging", dir.Path(), std::to_string(rounds)});

  ASSERT_FALSE(result.timedOut);
  ASSERT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  std::vector<std::string> parents = ProbeMessages(dir.LinesOf("app.log"));
  ASSERT_THAT(parents, Not(IsEmpty()));
  EXPECT_EQ(parents.back(), "the parent goes on");
  parents.pop_back();
  ExpectEachThreadsLinesOnce(parents, "line");
  ExpectEachThreadsLinesOnce(dir.LinesOf("metrics/metrics.log"), "record");

  const std::vector<std::string> onStandardError = SplitLines(result.standardError);
  for (int round = 0; round < rounds; round += 5) {
    const std::string begin = "]: child " + std::to_string(round) + " process ";
    std::vector<std::string> lines;
    std::copy_if(onStandardError.begin(), onStandardError.end(), std::back_inserter(lines),
                 [&](const std::string& line) { return line.find(begin) != std::string::npos; });
    ExpectLinesOfChild(lines, round);
  }
  EXPECT_THAT(ProbeMessages(onStandardError), SizeIs(rounds / 5 * linesPerChild));
  if (sanitizerLocksReachChildren) return;  // these children start no channel then
  for (int round = 1; round < rounds; round += 5) {
    const std::string child = "child-" + std::to_string(round);
    ExpectLinesOfChild(dir.LinesOf(child + "/child.log"), round);
    const std::vector<std::string> records = dir.LinesOf(child + "/metrics.log");
    EXPECT_THAT(records, SizeIs(linesPerChild));
    EXPECT_EQ(records.back(), "child " + std::to_string(round) + " record 19");
  }
}

TEST(Fork, WhileThreadsWriteToStandardErrorLeavesAllLinesWhole) {
  const ProgramResult result =
      RunProgram({CHANNEL_PROBE, "fork-not-running", std::to_string(rounds)});

  ASSERT_FALSE(result.timedOut);
  ASSERT_EQ(result.exitCode, 0) << result.standardOutput;
  std::vector<std::string> lines;
  std::vector<std::string> records;
  int childrensLines = 0;
  for (const std::string& line : SplitLines(result.standardError)) {
    const std::string message = MessageOf(line);
    if (message.starts_with("child ")) {
      ++childrensLines;
    } else if (line.starts_with("[channel_probe] [")) {
      lines.push_back(message);
    } else {
      records.push_back(line);
    }
  }
  ExpectEachThreadsLinesOnce(lines, "line");
  ExpectEachThreadsLinesOnce(records, "record");
  // Under a sanitizer these children may only end.
  EXPECT_EQ(childrensLines, sanitizerLocksReachChildren ? 0 : rounds * linesPerChild);
}

TEST(Fork, OfAChildThatHasAChannelOfItsOwnGivesEveryProcessItsOwnLines) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "fork-twice", dir.Path()});

  ASSERT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  EXPECT_THAT(ProbeMessages(dir.LinesOf("app.log")), ElementsAre("parent before", "parent after"));
  EXPECT_THAT(ProbeMessages(dir.LinesOf("child/app.log")),
              ElementsAre("child before", "child after"));
  EXPECT_THAT(ProbeMessages(dir.LinesOf("grandchild/app.log")), ElementsAre("grandchild"));
  EXPECT_THAT(ProbeMessages(SplitLines(result.standardError)),
              ElementsAre("grandchild without a channel"));
}

// Whatever another thread is doing for the first time at that moment, or as the
// only one: looking up an account, reading the name of the process, formatting a
// record, building the logger.
class ForkDuringTheFirst : public testing::TestWithParam<const char*> {};

TEST_P(ForkDuringTheFirst, UseLeavesTheChildAbleToLog) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({FIRST_USE_PROBE, GetParam(), dir.Path()});

  ASSERT_FALSE(result.timedOut);
  ASSERT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  const bool recorded = GetParam() == std::string("record");
  EXPECT_EQ(dir.Has("metrics.log") ? dir.Read("metrics.log") : "",
            recorded ? "the parent's record\n" : "");
  EXPECT_THAT(dir.Read("app.log"),
              recorded ? Not(HasSubstr("the parent's"))
                       : testing::Matcher<std::string>(HasSubstr("]: the parent's\n")));
  ASSERT_TRUE(dir.Has("child/app.log"));
  EXPECT_THAT(dir.Read("child/app.log"), HasSubstr("]: the child's\n"));
  EXPECT_EQ(dir.Read("child/metrics.log"), "the child's record\n");
}

// The thread sanitizer has the program's guards of statics to itself.
std::vector<const char*> FirstUses() {
  std::vector<const char*> uses = {"account", "process-name", "record"};
  if (!builtWithThreadSanitizer) uses.push_back("logger");
  return uses;
}

INSTANTIATE_TEST_SUITE_P(What, ForkDuringTheFirst, testing::ValuesIn(FirstUses()),
                         [](const auto& call) {
                           std::string name = call.param;
                           std::erase(name, '-');
                           return name;
                         });

TEST(Fork, PassesOnSettingsAndCountAndNamesButNoRunningChannel) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "fork-state", dir.Path()});

  ASSERT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  EXPECT_THAT(result.standardError, Not(HasSubstr("filtered")));
  // Two that were renamed, and the last.
  EXPECT_THAT(dir.Names("child"), SizeIs(3));
}

}  // namespace
