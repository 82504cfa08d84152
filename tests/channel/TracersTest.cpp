#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <set>
#include <sstream>

#include "RunProgram.h"
#include "Scenario.h"
#include "Surroundings.h"
#include "Text.h"

// What a tracer is told. The debugger stands in for one: it needs no right but
// that to trace its own child.

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

// What the debugger printed at each probe that was passed, in their order:
// the probe's name and its arguments.
std::vector<std::string> Trace(const std::string& command, const ScratchDir& dir) {
  // The address sanitizer's look for leaks cannot be had under a debugger.
  const ProgramResult result =
      RunProgram({"env", "ASAN_OPTIONS=detect_leaks=0", "gdb", "-batch", "-nx", "-x", TRACER_SCRIPT,
                  "--args", CHANNEL_PROBE, command, dir.Path()});
  EXPECT_THAT(result.standardOutput, HasSubstr("exited normally")) << result.standardError;
  std::vector<std::string> passed;
  for (const std::string& line : SplitLines(result.standardOutput)) {
    const std::size_t mark = line.find("TRACED ");
    if (mark != std::string::npos) passed.push_back(line.substr(mark + 7));
  }
  return passed;
}

std::vector<std::string> WordsOf(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

// The arguments of those probes that have the name.
std::vector<std::vector<std::string>> ArgumentsOf(const std::vector<std::string>& passed,
                                                  const std::string& name) {
  std::vector<std::vector<std::string>> arguments;
  for (const std::string& probe : passed) {
    std::vector<std::string> words = WordsOf(probe);
    if (words.front() != name) continue;
    words.erase(words.begin());
    arguments.push_back(words);
  }
  return arguments;
}

TEST(Tracers, AreToldOfEveryRecordThatFoundNoRoom) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;

  const std::vector<std::string> passed = Trace("traced-drops", dir);

  // Five lines, the line of the stop, and three records.
  const auto line = [](const std::string& message) {
    return AllOf(StartsWith("queue_drop log "), EndsWith("]: " + message));
  };
  EXPECT_THAT(passed, ElementsAre(line("line 1"), line("line 2"), line("line 3"), line("line 4"),
                                  line("line 5"), "queue_drop metrics 9 record 1",
                                  "queue_drop metrics 9 record 2", "queue_drop metrics 9 record 3",
                                  line("@@@@ LOG EXIT @@@@")));
}

TEST(Tracers, AreToldOfEveryRotationAndOfWhatItRemoved) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;

  const std::vector<std::string> passed = Trace("traced-rotations", dir);

  std::set<std::string> inPlace;
  for (const auto& rotation : ArgumentsOf(passed, "rotate")) {
    ASSERT_EQ(rotation.size(), 2u);
    EXPECT_EQ(rotation[0], dir / "app.log");
    EXPECT_TRUE(inPlace.insert(rotation[1]).second) << rotation[1];
  }
  // Five lines and that of the stop, at least: the library may have more to say.
  EXPECT_GE(inPlace.size(), 6u);
  for (const auto& removal : ArgumentsOf(passed, "retention_remove")) {
    EXPECT_THAT(removal, ElementsAre(testing::_, "0"));
    EXPECT_EQ(inPlace.erase(removal.front()), 1u) << removal.front();
  }
  // Two are kept, next to the live file.
  std::set<std::string> files = {dir / "app.log"};
  files.merge(inPlace);
  EXPECT_EQ(files.size(), 3u);
  for (const std::string& name : dir.Names()) EXPECT_EQ(files.erase(dir / name), 1u) << name;
}

TEST(Tracers, AreToldOfARemovalThatFailed) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;

  const auto removals = ArgumentsOf(Trace("traced-removal-failure", dir), "retention_remove");

  EXPECT_THAT(removals,
              testing::Contains(ElementsAre(dir / "app_0.log", std::to_string(ENOTEMPTY))));
}

TEST(Tracers, AreToldOfARenameThatFailed) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;

  const auto failures = ArgumentsOf(Trace("traced-rename-failure", dir), "rename_fail");

  ASSERT_THAT(failures, Not(IsEmpty()));
  for (const auto& failure : failures) {
    EXPECT_THAT(failure, ElementsAre(dir / "app", StartsWith("_2"), std::to_string(EXDEV)));
  }
}

TEST(Tracers, AreToldOfAnOpenThatFailed) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;

  const auto failures = ArgumentsOf(Trace("traced-open-failure", dir), "open_fail");

  // The line and that of the stop, at least.
  ASSERT_GE(failures.size(), 2u);
  for (const auto& failure : failures) {
    EXPECT_THAT(failure, ElementsAre(dir / "app.log", std::to_string(ENOENT)));
  }
}

TEST(Tracers, AreToldOfAWriteThatFailed) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;

  const auto failures = ArgumentsOf(Trace("traced-write-failure", dir), "write_fail");

  // Nothing of the second line was written, which is as long as the first but for
  // its message.
  const std::vector<std::string> lines = dir.LinesOf("app.log");
  ASSERT_THAT(lines.front(), EndsWith("]: fits"));
  const std::size_t lineThatFits = lines.front().size() + 1;
  const std::string lost = std::to_string(lineThatFits + std::string("does not ").size() - 1);
  ASSERT_GE(failures.size(), 2u);
  EXPECT_THAT(failures, Contains(ElementsAre(testing::_, lost, std::to_string(EFBIG))));
}

TEST(SlowTracers, AreToldOfAStopThatGaveUp) {
  SKIP_IF(WhyNoProc());  // neither has the debugger then
  const ScratchDir dir;
  ASSERT_EQ(mkfifo((dir / "app.log").c_str(), 0600), 0);

  EXPECT_THAT(ArgumentsOf(Trace("traced-stop-timeout", dir), "stop_timeout"),
              ElementsAre(ElementsAre("log")));
}

}  // namespace
