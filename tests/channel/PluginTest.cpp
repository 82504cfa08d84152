#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunProgram.h"
#include "Scenario.h"

namespace {

TEST(Plugin, ThatIsUnloadedWhileItsChannelRunsFindsItRunningWhenItIsLoadedAgain) {
  const ScratchDir dir;

  const ProgramResult result =
      RunProgram({PLUGIN_HOST, CHANNEL_PLUGIN, dir.Path(), "leave-running"});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(200));
}

TEST(Plugin, ThatIsUnloadedAfterAStopStartsAfreshWhenItIsLoadedAgain) {
  const ScratchDir dir;

  const ProgramResult result =
      RunProgram({PLUGIN_HOST, CHANNEL_PLUGIN, dir.Path(), "stop-in-between"});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  const std::vector<std::string> all = NumberedLines(200);
  EXPECT_EQ(OwnMessages(dir, "app.log"), std::vector<std::string>(all.begin() + 100, all.end()));
}

TEST(Plugin, ThatIsNeverStoppedLetsTheProgramEnd) {
  const ScratchDir dir;

  const ProgramResult result = RunProgram({PLUGIN_HOST, CHANNEL_PLUGIN, dir.Path(), "never-stop"});

  EXPECT_EQ(result.exitCode, 0) << result.standardOutput << result.standardError;
  EXPECT_FALSE(result.timedOut);
}

}  // namespace
