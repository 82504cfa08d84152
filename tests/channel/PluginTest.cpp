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

// A plugin with a library of its own, beside one with the installed one.
class TwoCopies : public testing::Test {
 protected:
  ProgramResult Run(const char* kind) const {
    return RunProgram({PLUGIN_HOST, CHANNEL_PLUGIN, dir.Path(), kind, VENDORED_PLUGIN});
  }
  std::vector<std::string> Messages(const char* folder) const {
    return OwnMessages(dir, std::string(folder) + "/app.log");
  }

  const ScratchDir dir;
};

TEST_F(TwoCopies, ThatAreHiddenFromEachOtherWriteFilesOfTheirOwnAndSurviveAFork) {
  const ProgramResult result = Run("two-copies-local");

  EXPECT_EQ(result.exitCode, 0) << "signal " << result.signal << result.standardError;
  const std::vector<std::string> all = NumberedLines(200);
  EXPECT_EQ(Messages("first-log"), std::vector<std::string>(all.begin(), all.begin() + 100));
  EXPECT_EQ(Messages("second-log"), std::vector<std::string>(all.begin() + 100, all.end()));
}

// Both plugins use the copy that was loaded first; the other one is idle.
TEST_F(TwoCopies, ThatAreVisibleToEachOtherLoseNothingAndSurviveAFork) {
  const ProgramResult result = Run("two-copies-global");

  EXPECT_EQ(result.exitCode, 0) << "signal " << result.signal << result.standardError;
  EXPECT_EQ(Messages("first-log"), NumberedLines(200));
}

TEST(Plugin, MayBeLoggedThroughByForkHandlersThatAreOlderThanTheLibrary) {
  const ScratchDir dir;

  const ProgramResult result =
      RunProgram({PLUGIN_HOST, CHANNEL_PLUGIN, dir.Path(), "older-fork-handlers"});

  EXPECT_EQ(result.exitCode, 0) << "signal " << result.signal << result.standardError;
  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(3));
}

}  // namespace
