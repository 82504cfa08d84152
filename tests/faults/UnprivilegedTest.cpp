// What a user sees whom the system refuses things. A small program does it, as
// user 65534 when the test runs as root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "OwnershipLines.h"
#include "RunProgram.h"
#include "ScratchDir.h"
#include "Surroundings.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
namespace fs = std::filesystem;

class UserWithoutRights : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* const probe = std::getenv("ZIN_UNPRIVILEGED_PROBE");
    ASSERT_NE(probe, nullptr) << "ZIN_UNPRIVILEGED_PROBE must name the probe program";
    SKIP_IF(WhyNoUnprivilegedProgram());
    fs::copy_file(probe, dir / "probe");
    ASSERT_EQ(chmod((dir / "probe").c_str(), 0755), 0);
    fs::create_directory(dir / "own");
    GiveAway("own");
  }

  void GiveAway(const std::string& name) {
    if (geteuid() != 0) return;
    ASSERT_EQ(lchown((dir / name).c_str(), userWithoutRights, userWithoutRights), 0);
  }

  void AddOwnFile(const std::string& name, const std::string& text) {
    dir.Write("own/" + name, text);
    GiveAway("own/" + name);
  }

  ProgramResult RunScenario(const std::string& name) {
    const ProgramResult result = RunProgram(Unprivileged({dir / "probe", name, dir / "own"}));
    EXPECT_EQ(result.exitCode, 0) << result.standardError;
    return result;
  }

  const ScratchDir dir;
};

TEST_F(UserWithoutRights, LosesALineInADirectoryThatCannotBeWrittenAndNotTheNext) {
  const ProgramResult result = RunScenario("directory-that-opens-up");

  EXPECT_EQ(result.standardOutput, "0\n1\n");
  EXPECT_EQ(dir.Read("own/app.log"), "kept\n");
}

TEST_F(UserWithoutRights, LosesALineInADirectoryThatCannotBeMadeAndNotTheNext) {
  const ProgramResult result = RunScenario("directory-that-cannot-be-made");

  EXPECT_EQ(result.standardOutput, "0\n1\n");
  EXPECT_EQ(dir.Read("own/log/app.log"), "kept\n");
}

TEST_F(UserWithoutRights, OverwritesAFileThatMayBeWrittenButNotRead) {
  AddOwnFile("app.log", "of an earlier run\n");

  RunScenario("unreadable-file");

  EXPECT_THAT(dir.Names("own"), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("own/app.log"), "line\n");
}

TEST_F(UserWithoutRights, LosesTheContentsOfAFileThatCannotBeRenamed) {
  const ProgramResult result = RunScenario("rename-without-right");

  EXPECT_EQ(result.standardOutput, "1\n1\n1\n");
  EXPECT_THAT(dir.Names("own"), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("own/app.log"), "abc\n");
}

TEST_F(UserWithoutRights, FindsNothingInADirectoryThatCannotBeRead) {
  AddOwnFile("app.log", "");
  AddOwnFile("app_1.log", "");

  const ProgramResult result = RunScenario("list-unreadable-directory");

  EXPECT_EQ(result.standardOutput, "0 0\n");
  EXPECT_THAT(dir.Names("own"), ElementsAre("app.log", "app_1.log"));
}

TEST_F(UserWithoutRights, ReadsNothingBehindAClosedDirectory) {
  AddOwnFile("app.log", "text");

  EXPECT_EQ(RunScenario("examine-behind-a-closed-directory").standardOutput, "0 0 0\n");
}

TEST_F(UserWithoutRights, CannotHandADirectoryOverAndSaysSoEveryTime) {
  AddOwnFile("app.log", "text");
  const uid_t owner = dir.OwnerOf("own/app.log");

  const ProgramResult result = RunScenario("hand-over");

  EXPECT_EQ(result.standardOutput, "-10000\n-10000\n");
  const std::string refused =
      "[ERROR] [ZinDir:#] [ZinChownDirAndFirstDepthFiles]: Failed to lchown to user, error:1";
  EXPECT_THAT(WithoutSourceLines(result.standardError),
              ElementsAre(EndsWith(refused), EndsWith(refused)));
  EXPECT_EQ(dir.OwnerOf("own/app.log"), owner);
}

}  // namespace
