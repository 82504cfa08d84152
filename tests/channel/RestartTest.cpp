#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CapturedStandardError.h"
#include "Scenario.h"
#include "Text.h"
#include "WaitUntilTrue.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

namespace {

TEST(Restart, RenamesTheFileOfAnEarlierRunAsideAsNumberZero) {
  const ScratchDir dir;
  dir.Write("app.log", "from an earlier run\n");
  StartLogChannel(dir);

  LogLine("new");
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("new"));
  const std::vector<std::string> rotated = RotatedNames(dir, "app");
  ASSERT_THAT(rotated, SizeIs(1));
  EXPECT_THAT(rotated[0], MatchesRegex("app_[0-9]{17}-000-[0-9]+\\.log"));
  EXPECT_EQ(dir.Read(rotated[0]), "from an earlier run\n");
}

// Where a word has 32 bits, too. The file of the earlier run is a single hole.
TEST(Restart, RenamesAFileOfThreeGibibytesAsideAndLosesNoLine) {
  const ScratchDir dir;
  dir.AddLogs({{"app.log", 1000000000, MiB(3072)}});
  StartLogChannel(dir);

  LogNumberedLines(100);
  Logger().StopSystem();

  ASSERT_LT(dir.SizeOf("app.log"), MiB(1));  // not the old one, which is no text
  EXPECT_EQ(OwnMessages(dir, "app.log"), NumberedLines(100));
  const std::vector<std::string> rotated = RotatedNames(dir, "app");
  ASSERT_THAT(rotated, SizeIs(1));
  EXPECT_EQ(dir.SizeOf(rotated[0]), 3221225472u);
}

TEST(Restart, LeavesTheOldFileInPlaceUntilTheFirstLine) {
  const ScratchDir dir;
  dir.Write("app.log", "from an earlier run\n");
  StartLogChannel(dir, {.level = ERROR});

  Logger().StopSystem();

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "from an earlier run\n");
}

TEST(Restart, RenamesTheFileOfASubDirectoryAsideInThere) {
  const ScratchDir dir;
  StartLogChannel(dir);
  LogLine("old", "net");
  Logger().StopSystem();

  StartLogChannel(dir);
  LogLine("new", "net");
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(dir, "net/app.log"), ElementsAre("new"));
  EXPECT_THAT(dir.Names("net"),
              ElementsAre("app.log", MatchesRegex("app_[0-9]{17}-00[0-9]-[0-9]+\\.log")));
}

TEST(Restart, TwoHundredTimesInARowLosesNoLine) {
  const ScratchDir dir;
  for (int i = 1; i <= 200; ++i) {
    StartLogChannel(dir);
    LogLine("line " + std::to_string(i));
    Logger().StopSystem();
  }

  // Starts within one millisecond number their files anew, so the names do not
  // tell the order of the runs.
  EXPECT_THAT(OwnMessagesOfAllFiles(dir), UnorderedElementsAreArray(NumberedLines(200)));
}

TEST(Restart, InAnotherDirectoryUnderAnotherNameWritesThere) {
  const ScratchDir first;
  const ScratchDir second;
  StartLogChannel(first);
  LogLine("first");
  Logger().StopSystem();

  StartLogChannel(second, {.fileName = "other.log"});
  LogLine("second");
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(first, "app.log"), ElementsAre("first"));
  EXPECT_THAT(OwnMessages(second, "other.log"), ElementsAre("second"));
  EXPECT_EQ(Logger().GetLogName(), "other.log");
}

TEST(Restart, TakesTheNewCapacity) {
  const ScratchDir dir;
  StartLogChannel(dir, {.queueCapacity = 0});
  LogLine("dropped");
  Logger().StopSystem();

  StartLogChannel(dir, {.queueCapacity = 10});
  LogLine("kept");
  Logger().StopSystem();

  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("kept"));
}

TEST(Restart, RefusedWhileTheChannelRunsChangesOnlyTheLevel) {
  const ScratchDir dir;
  StartLogChannel(dir);
  LogLine("info");

  EXPECT_FALSE(Logger().StartSystem("sub/other.log", dir.Path().c_str(), 5, 1, WARN, 0, true));

  LogLine("info again: too low now");
  LogLine("warning", "", WARN);
  Logger().SetLogLevel(INFO);
  Logger().StopSystem();
  EXPECT_THAT(OwnMessages(dir, "app.log"), ElementsAre("info", "warning"));
  EXPECT_EQ(Logger().GetLogName(), "app.log");
}

}  // namespace
