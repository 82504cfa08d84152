#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunProgram.h"
#include "Scenario.h"
#include "Surroundings.h"
#include "Text.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

TEST(Descriptors, OfLogFilesAreNotPassedToAProgramThatIsStarted) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "start-child", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardError;
  // The list is one: it shows the child's standard input.
  EXPECT_THAT(result.standardOutput, HasSubstr("/dev/null"));
  EXPECT_THAT(result.standardOutput, Not(HasSubstr(dir.Path())));
  EXPECT_TRUE(dir.Has("app.log"));
  EXPECT_TRUE(dir.Has("net/app.log"));
  EXPECT_TRUE(dir.Has("metrics/metrics.log"));
}

TEST(Descriptors, OfClosedStandardStreamsNeverBecomeThoseOfALogFile) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "closed-streams", dir.Path()});

  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(10));
  EXPECT_THAT(dir.Read("app.log"), Not(HasSubstr("stray")));
}

// Else each generation would have two more than the one before, and the disk
// would keep what the first one has removed.
TEST(Descriptors, OfLogFilesAreNotPassedFromChildToChild) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "fork-chain", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput;
  for (const char* const generation : {"1", "2", "3"}) {
    const std::string file = std::string(generation) + "-log/app.log";
    EXPECT_THAT(OwnMessages(dir, file), ElementsAre("line", "after the fork"));
  }
}

}  // namespace
