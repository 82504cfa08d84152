#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunProgram.h"
#include "Scenario.h"
#include "Text.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Gt;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

TEST(RedirectedStandardError, IntoTheLogDoesNotHangWhenTheChannelIsStopped) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "redirected-error", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput;
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("while the channel runs"));
  EXPECT_EQ(dir.Read("metrics/metrics.log"), "record\n");
  // What nobody takes any more goes around the buffer.
  EXPECT_THAT(result.standardError, HasSubstr("@@@@ METRICS EXIT @@@@\n"));
  EXPECT_THAT(result.standardError, HasSubstr("after the stop\n"));
}

TEST(FullStandardError, ThatNobodyReadsDoesNotHoldUpAStopOfBothChannels) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "full-error-both", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput;
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("line"));
  EXPECT_THAT(dir.Read("app.log"), HasSubstr("@@@@ LOG EXIT @@@@"));
  EXPECT_EQ(dir.Read("metrics/metrics.log"), "record\n");
}

TEST(FullStandardError, ThatNobodyReadsDoesNotHoldUpTheMetricsWorker) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "full-error-metrics", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput;
  EXPECT_EQ(dir.Read("metrics.log"), "record\n");
}

// With an allocator that logs each use of it, in another thread, before it
// returns: nothing may be allocated or freed while a lock of the library is held.
TEST(LoggingAllocator, MayBeUsedByAllThatTheLibraryDoes) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({ALLOCATOR_PROBE, dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << "signal " << result.signal << result.standardOutput;
  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(2000));
  EXPECT_THAT(OwnMessages(dir, "memory/app.log"), AllOf(SizeIs(Gt(2000)), Each("memory")));
}

}  // namespace
