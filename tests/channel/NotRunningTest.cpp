#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CapturedStandardError.h"
#include "RunProgram.h"
#include "Scenario.h"
#include "Text.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

TEST(NotRunning, SendsLinesToStandardErrorBeforeTheStartAndAfterTheStop) {
  const ScratchDir dir;
  const CapturedStandardError standardError;

  LogLine("before");
  StartLogChannel(dir);
  LogLine("while it runs");
  Logger().StopSystem();
  LogLine("after");

  EXPECT_THAT(OwnMessages(SplitLines(standardError.Text())), ElementsAre("before", "after"));
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("while it runs"));
}

TEST(NotRunning, WritesTheWholeHeaderToStandardError) {
  const CapturedStandardError standardError;

  LogLine("hello", "a key is of no interest here");

  EXPECT_THAT(standardError.Text(),
              MatchesRegex("\\[channel_tests\\] \\[[-0-9:. ]{23}\\] \\[[0-9]+\\] \\[INFO\\] "
                           "\\[Scenario\\.cpp:1\\] \\[Scenario\\]: hello\n"));
}

TEST(NotRunning, FiltersByTheDefaultLevelInfo) {
  const CapturedStandardError standardError;

  LogLine("info", "", INFO);
  LogLine("debug", "", DEBUG);

  EXPECT_THAT(OwnMessages(SplitLines(standardError.Text())), ElementsAre("info"));
}

TEST(NotRunning, AfterARefusedStartStillWritesToStandardError) {
  const ScratchDir dir;
  const CapturedStandardError standardError;

  EXPECT_FALSE(Logger().StartSystem("app.txt", dir.Path().c_str(), 5, 1, INFO, 10, true));
  LogLine("line");

  EXPECT_THAT(OwnMessages(SplitLines(standardError.Text())), ElementsAre("line"));
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(NotRunning, SurvivesABrokenPipeAtStandardErrorAndTriesTheNextLineAfresh) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "broken-pipe", dir.Path()});

  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitCode, 0) << result.standardOutput;
  EXPECT_THAT(MessagesOf(dir.LinesOf("standard-error.txt")), ElementsAre("line 3"));
}

TEST(NotRunning, LogsNothingAndSurvivesWhenStandardErrorIsClosed) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({CHANNEL_PROBE, "no-standard-error", dir.Path()});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput;
}

}  // namespace
