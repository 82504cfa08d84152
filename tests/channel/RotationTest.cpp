#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RefusedRename.h"
#include "Scenario.h"
#include "Text.h"

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

namespace {

// A little more than 1 MiB, and less than 2.
std::vector<std::string> OneAndAHalfMiBOfLines() {
  std::vector<std::string> messages;
  for (int i = 0; i < 1536; ++i) {
    messages.push_back("line " + std::to_string(i) + " " + std::string(900, 'x'));
  }
  return messages;
}

class RotationBySize : public testing::TestWithParam<int> {};

// Only the low 12 bits of the number count.
TEST_P(RotationBySize, HappensAfterTheLineThatGoesPastOneMiB) {
  const ScratchDir dir;
  StartLogChannel(dir, {.fileSizeMiB = GetParam()});
  const std::vector<std::string> messages = OneAndAHalfMiBOfLines();

  for (const std::string& message : messages) LogLine(message);
  Logger().StopSystem();

  const std::vector<std::string> rotated = RotatedNames(dir, "app");
  ASSERT_THAT(rotated, SizeIs(1));
  const std::string full = dir.Read(rotated[0]);
  const std::size_t lastLine = SplitLines(full).back().size() + 1;
  EXPECT_EQ(full.back(), '\n');
  EXPECT_GT(full.size(), MiB(1));
  EXPECT_LE(full.size() - lastLine, MiB(1));
  EXPECT_EQ(OwnMessagesOfAllFiles(dir), messages);
}

INSTANTIATE_TEST_SUITE_P(Channel, RotationBySize, testing::Values(1, 4097, -4095));

TEST(Rotation, LosesNothingWhereRenamingWithoutReplacingIsRefused) {
  if (!RefuseToRenameWithoutReplacing()) GTEST_SKIP() << "no filter for system calls to be had";
  const ScratchDir dir;
  dir.Write("app.log", "of the earlier run\n");
  StartLogChannel(dir, {.fileSizeMiB = 4096});

  LogNumberedLines(20);
  Logger().StopSystem();

  EXPECT_THAT(OwnMessagesOfAllFiles(dir), UnorderedElementsAreArray(NumberedLines(20)));
  const std::vector<std::string> rotated = RotatedNames(dir, "app");
  std::vector<std::string> contents;
  for (const std::string& name : rotated) contents.push_back(dir.Read(name));
  EXPECT_THAT(contents, Contains("of the earlier run\n"));
}

TEST(Rotation, HappensAfterEveryLineAtASizeOf4096) {
  const ScratchDir dir;
  StartLogChannel(dir, {.fileSizeMiB = 4096});

  LogNumberedLines(20);
  Logger().StopSystem();

  // Seconds and milliseconds of a name are read from two clocks, so on the edge
  // of a second the names do not tell the order.
  EXPECT_THAT(OwnMessagesOfAllFiles(dir), UnorderedElementsAreArray(NumberedLines(20)));
  for (const std::string& name : RotatedNames(dir, "app")) {
    EXPECT_THAT(dir.LinesOf(name), SizeIs(1)) << name;
  }
  EXPECT_EQ(dir.Read("app.log"), "");
}

TEST(Rotation, CountsTheBytesOfEachSubDirectoryByThemselves) {
  const ScratchDir dir;
  StartLogChannel(dir, {.fileSizeMiB = 1});

  for (const std::string& message : OneAndAHalfMiBOfLines()) LogLine(message, "big");
  LogLine("small");
  Logger().StopSystem();

  EXPECT_THAT(dir.Names("big"), SizeIs(2));
  EXPECT_THAT(RotatedNames(dir, "app"), SizeIs(0));
}

TEST(Rotation, KeepsAsManyRotatedFilesAsItIsToldTo) {
  const ScratchDir dir;
  StartLogChannel(dir, {.keepFiles = 3, .fileSizeMiB = 4096});
  LogNumberedLines(30);

  Logger().StopSystem();

  EXPECT_THAT(RotatedNames(dir, "app"), SizeIs(3));
}

TEST(Rotation, KeepsNoRotatedFileAtAKeepCountOfZeroOrBelow) {
  for (const int keepFiles : {0, -1, -7}) {
    const ScratchDir dir;
    StartLogChannel(dir, {.keepFiles = keepFiles, .fileSizeMiB = 4096});
    LogNumberedLines(10);

    Logger().StopSystem();

    EXPECT_THAT(dir.Names(), ElementsAre("app.log")) << keepFiles;
  }
}

TEST(Rotation, LeavesFilesOfOtherNamesAlone) {
  const ScratchDir dir;
  dir.Write("other.log", "other\n");
  dir.Write("myapp_20250101000000000-000-1.log", "another file's\n");
  StartLogChannel(dir, {.keepFiles = 0, .fileSizeMiB = 4096});
  LogNumberedLines(10);

  Logger().StopSystem();

  EXPECT_THAT(dir.Names(),
              ElementsAre("app.log", "myapp_20250101000000000-000-1.log", "other.log"));
}

}  // namespace
