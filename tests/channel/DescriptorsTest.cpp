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

}  // namespace
