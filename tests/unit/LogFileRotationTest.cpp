#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "FakeClock.h"
#include "FakeIds.h"
#include "LogFileWriter.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
namespace fs = std::filesystem;

// The name for 2026-01-05 09:03:07.042 in process 4711.
std::string Rotated(const std::string& stem, const std::string& sequence) {
  return stem + "_20260105090307042-" + sequence + "-4711.log";
}

class RotateFile : public ::testing::Test {
 protected:
  RotateFile() {
    FakeClock::SetDateTime(2026, 1, 5, 9, 3, 7);
    FakeClock::SetTick(42);
    FakeClock::SetTickStep(0);
    FakeIds::SetProcessId(4711);
  }

  // Writes a file of this name and rotates it.
  void WriteAndRotate(const std::string& name, const std::string& text = "text") {
    dir.Write(name, text);
    writer.RotateFile(dir / name);
  }

  const ScratchDir dir;
  LogFileWriter writer{"server.log", dir.Path(), 5, MiB(1)};
};

TEST_F(RotateFile, RenamesToAStampOfTimeSequenceAndProcess) {
  writer.rotationSequence = 7;

  WriteAndRotate("server.log", "old contents");

  EXPECT_THAT(dir.Names(), ElementsAre("server_20260105090307042-007-4711.log"));
  EXPECT_EQ(dir.Read("server_20260105090307042-007-4711.log"), "old contents");
}

TEST_F(RotateFile, TakesDateTimeTickAndProcessAsTheyAreNow) {
  FakeClock::SetDateTime(2031, 12, 31, 23, 59, 58);
  FakeClock::SetTick(5007);
  FakeIds::SetProcessId(23);

  WriteAndRotate("server.log");

  EXPECT_THAT(dir.Names(), ElementsAre("server_20311231235958007-000-23.log"));
}

TEST_F(RotateFile, HasRoomForAProcessIdOfNineDigits) {
  FakeIds::SetProcessId(987654321);

  WriteAndRotate("server.log");

  EXPECT_THAT(dir.Names(), ElementsAre("server_20260105090307042-000-987654321.log"));
}

TEST_F(RotateFile, CountsFromZeroWithinAMillisecond) {
  for (int i = 0; i < 3; ++i) WriteAndRotate("server.log");

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("server", "000"), Rotated("server", "001"),
                                       Rotated("server", "002")));
}

TEST_F(RotateFile, CountsForAllFilesOfTheWriterTogether) {
  fs::create_directory(dir / "net");

  WriteAndRotate("server.log");
  WriteAndRotate("net/server.log");

  EXPECT_THAT(dir.Names(), ElementsAre("net", Rotated("server", "000")));
  EXPECT_THAT(dir.Names("net"), ElementsAre(Rotated("server", "001")));
}

TEST_F(RotateFile, BeginsAtZeroAgainAfter999) {
  writer.rotationSequence = 998;

  for (int i = 0; i < 4; ++i) WriteAndRotate("server.log");

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("server", "000"), Rotated("server", "001"),
                                       Rotated("server", "998"), Rotated("server", "999")));
  EXPECT_EQ(writer.rotationSequence, 2u);
}

TEST_F(RotateFile, UsesZeroForTheThousandAndFirstRotation) {
  for (int i = 0; i < 1000; ++i) WriteAndRotate("server.log");
  FakeClock::SetTick(43);

  WriteAndRotate("server.log", "the last");

  EXPECT_THAT(dir.Names(), SizeIs(1001));
  EXPECT_TRUE(dir.Has(Rotated("server", "999")));
  EXPECT_EQ(dir.Read("server_20260105090307043-000-4711.log"), "the last");
}

TEST_F(RotateFile, AdvancesTheSequenceEvenWhenThereIsNoFile) {
  writer.RotateFile(dir / "server.log");

  EXPECT_THAT(dir.Names(), IsEmpty());
  EXPECT_EQ(writer.rotationSequence, 1u);
}

// ---- Names that are taken -----------------------------------------------

TEST_F(RotateFile, TakesAFreshStampWhenTheNameIsTaken) {
  dir.Write(Rotated("server", "000"), "of an earlier run");
  dir.Write(Rotated("server", "001"), "of an earlier run, too");

  WriteAndRotate("server.log", "of this run");

  EXPECT_EQ(dir.Read(Rotated("server", "000")), "of an earlier run");
  EXPECT_EQ(dir.Read(Rotated("server", "001")), "of an earlier run, too");
  EXPECT_EQ(dir.Read(Rotated("server", "002")), "of this run");
  EXPECT_FALSE(dir.Has("server.log"));
}

TEST_F(RotateFile, LeavesTheModeOfATakenNameAlone) {
  dir.Write(Rotated("server", "000"), "");
  const mode_t before = dir.ModeOf(Rotated("server", "000"));

  WriteAndRotate("server.log");

  EXPECT_EQ(dir.ModeOf(Rotated("server", "000")), before);
}

TEST_F(RotateFile, CountsADanglingLinkAsATakenName) {
  fs::create_symlink(dir / "nowhere", dir / Rotated("server", "000"));

  WriteAndRotate("server.log", "contents");

  EXPECT_TRUE(fs::is_symlink(dir / Rotated("server", "000")));
  EXPECT_EQ(dir.Read(Rotated("server", "001")), "contents");
}

TEST_F(RotateFile, ReadsTheClockAgainForAFreshStamp) {
  FakeClock::SetTickStep(1);
  dir.Write(Rotated("server", "000"), "of an earlier run");

  WriteAndRotate("server.log", "of this run");

  EXPECT_EQ(dir.Read("server_20260105090307043-001-4711.log"), "of this run");
}

// As when a service that fails at once is started over and over: the file that
// cannot be moved aside would be emptied.
TEST_F(RotateFile, FindsTheOneNameThatIsFree) {
  for (int i = 0; i < 1000; ++i) WriteAndRotate("server.log", std::to_string(i));
  fs::remove(dir / Rotated("server", "999"));  // the last one that is tried

  WriteAndRotate("server.log", "of this run");

  EXPECT_EQ(dir.Read(Rotated("server", "999")), "of this run");
  EXPECT_FALSE(dir.Has("server.log"));
}

TEST_F(RotateFile, OverwritesNothingWhenAllNamesAreTaken) {
  // The sequences begin again while the clock still shows the same millisecond.
  for (int i = 0; i < 1000; ++i) WriteAndRotate("server.log", std::to_string(i));

  WriteAndRotate("server.log", "nowhere to go");

  EXPECT_THAT(dir.Names(), SizeIs(1001));
  EXPECT_EQ(dir.Read("server.log"), "nowhere to go");
  EXPECT_EQ(dir.Read(Rotated("server", "000")), "0");
  EXPECT_EQ(dir.Read(Rotated("server", "999")), "999");
}

// ---- Stems --------------------------------------------------------------

TEST_F(RotateFile, RemovesOneSuffixOnly) {
  WriteAndRotate("server.log.log");

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("server.log", "000")));
}

TEST_F(RotateFile, StaysInItsDirectoryWhenTheNameIsTheSuffix) {
  WriteAndRotate(".log");

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("", "000")));
}

class RotateFileWithoutStem : public RotateFile {
 protected:
  RotateFileWithoutStem() { fs::create_directory(dir / "elsewhere"); }

  ScopedWorkingDirectory here{(fs::create_directory(dir / "here"), dir / "here")};
};

TEST_F(RotateFileWithoutStem, MovesAFileWithoutTheSuffixIntoTheWorkingDirectory) {
  WriteAndRotate("elsewhere/abc", "contents");

  EXPECT_THAT(dir.Names("elsewhere"), IsEmpty());
  EXPECT_THAT(dir.Names("here"), ElementsAre(Rotated("", "000")));
  EXPECT_EQ(dir.Read("here/" + Rotated("", "000")), "contents");
}

TEST_F(RotateFileWithoutStem, MovesAFileWhoseWholePathIsTheSuffix) {
  dir.Write("here/.log", "contents");

  writer.RotateFile(".log");

  EXPECT_THAT(dir.Names("here"), ElementsAre(Rotated("", "000")));
}

TEST_F(RotateFileWithoutStem, TellsUpperFromLowerCase) {
  WriteAndRotate("elsewhere/x.LOG");

  EXPECT_THAT(dir.Names("elsewhere"), IsEmpty());
  EXPECT_THAT(dir.Names("here"), ElementsAre(Rotated("", "000")));
}

TEST_F(RotateFileWithoutStem, KeepsTheStemOfAPathOfFiveCharacters) {
  dir.Write("here/x.log", "contents");

  writer.RotateFile("x.log");

  EXPECT_THAT(dir.Names("here"), ElementsAre(Rotated("x", "000")));
}

}  // namespace
