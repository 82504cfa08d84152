#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::int64_t keepAll = 1000;

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
std::string Rotated(const std::string& sequence) {
  return "app_20260105090307042-" + sequence + "-4711.log";
}

class RotationFaults : public ::testing::Test {
 protected:
  RotationFaults() { calls.UseAccount(54321, 54322); }

  void RotateOnce() {
    dir.Write("app.log", "contents");
    writer.RotateFile(dir / "app.log");
  }

  const ScratchDir dir;
  FailingCalls calls;
  LogFileWriter writer{"app.log", dir.Path(), keepAll, MiB(1)};
};

TEST_F(RotationFaults, NoModeIsChangedAfterARename) {
  RotateOnce();

  EXPECT_THAT(calls.Of({"chmod"}), IsEmpty());
}

TEST_F(RotationFaults, TheRotatedNameGets0440AfterAFailedRename) {
  calls.Fail("renameat2", EROFS);

  RotateOnce();

  EXPECT_THAT(calls.Of({"chmod"}),
              ElementsAre("chmod " + dir.Path() + "/" + Rotated("000") + " 0440"));
  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST_F(RotationFaults, AFileThatVanishedIsIgnored) {
  writer.RotateFile(dir / "app.log");

  EXPECT_THAT(calls.Of({"chmod"}),
              ElementsAre("chmod " + dir.Path() + "/" + Rotated("000") + " 0440"));
  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST_F(RotationFaults, AFailedRenameIsTriedOnce) {
  calls.FailFrom("renameat2", EROFS);

  RotateOnce();

  EXPECT_THAT(calls.Of({"renameat2", "rename"}), SizeIs(1));
  EXPECT_EQ(writer.rotationSequence, 1u);
}

TEST_F(RotationFaults, ContentsThatCannotBeMovedAsideAreLost) {
  calls.Fail("renameat2", EBUSY);
  calls.Fail("rename", EBUSY);
  dir.Write("app.log", "of the earlier run\n");

  writer.WriteLine("", "of this run\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "of this run\n");
}

TEST_F(RotationFaults, ALiveFileThatCannotBeMovedAsideBeginsAnew) {
  LogFileWriter small("app.log", dir.Path(), keepAll, 10);
  small.WriteLine("", "12345\n");
  calls.Fail("renameat2", EBUSY);
  calls.Fail("rename", EBUSY);

  small.WriteLine("", "67890\n");
  EXPECT_EQ(dir.Read("app.log"), "");
  small.WriteLine("", "abc\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "abc\n");
  EXPECT_EQ(dir.ModeOf("app.log"), 0640u);
}

// The error is that of a file that has vanished, but this one has not.
TEST_F(RotationFaults, AFileWhoseNewNameHasNoFolderBeginsAnew) {
  dir.Write("app.log", "of an earlier run\n");
  calls.FailFrom("renameat2", ENOENT);

  writer.WriteLine("", "of this run\n");

  EXPECT_EQ(dir.Read("app.log"), "of this run\n");
}

TEST_F(RotationFaults, AFileThatMovesIntoARemovedWorkingDirectoryBeginsAnew) {
  const ScratchDir removed;
  const ScopedWorkingDirectory there(removed.Path());
  std::filesystem::remove(removed.Path());
  LogFileWriter other("abc", dir.Path(), keepAll, MiB(1));
  dir.Write("abc", "of an earlier run\n");

  other.WriteLine("", "of this run\n");

  EXPECT_EQ(dir.Read("abc"), "of this run\n");
}

// What is said of the names, or of the disk, would be said of any other call.
TEST_F(RotationFaults, AReasonThatLiesInTheFileEndsTheAttempt) {
  for (const int reason : {ENOENT, ENAMETOOLONG, EROFS}) {
    calls.Fail("renameat2", reason);
    RotateOnce();
  }

  EXPECT_THAT(calls.Of({"renameat2"}), SizeIs(3));
  EXPECT_THAT(calls.Of({"rename", "open", "lstat"}), IsEmpty());
}

// ---- Where nobody can rename without replacing --------------------------

class RotationWithoutNoReplace : public RotationFaults, public ::testing::WithParamInterface<int> {
 protected:
  RotationWithoutNoReplace() { calls.FailFrom("renameat2", GetParam()); }
};

TEST_P(RotationWithoutNoReplace, RenamesAllTheSame) {
  RotateOnce();

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("000")));
  EXPECT_EQ(dir.Read(Rotated("000")), "contents");
  EXPECT_THAT(calls.Of({"chmod"}), IsEmpty());
}

TEST_P(RotationWithoutNoReplace, StillOverwritesNothing) {
  dir.Write(Rotated("000"), "of an earlier run");

  RotateOnce();

  EXPECT_EQ(dir.Read(Rotated("000")), "of an earlier run");
  EXPECT_EQ(dir.Read(Rotated("001")), "contents");
  EXPECT_THAT(calls.Of({"chmod"}), IsEmpty());
}

TEST_P(RotationWithoutNoReplace, CountsADanglingLinkAsATakenName) {
  std::filesystem::create_symlink("nowhere", dir / Rotated("000"));

  RotateOnce();

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("000"), Rotated("001")));
  EXPECT_TRUE(std::filesystem::is_symlink(dir / Rotated("000")));
  EXPECT_EQ(dir.Read(Rotated("001")), "contents");
}

// The second worker has the same stamp, and rotates in the moment in which the
// first one has found its name free.
TEST_P(RotationWithoutNoReplace, LeavesTheNameToNobodyElse) {
  LogFileWriter other("app.log", dir.Path(), keepAll, MiB(1));
  calls.Before("rename", [&] {
    other.RotateFile(dir / "app.log");
    dir.Write("app.log", "of the other");
  });

  RotateOnce();

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("000"), Rotated("001")));
  EXPECT_EQ(dir.Read(Rotated("000")), "of the other");
  EXPECT_EQ(dir.Read(Rotated("001")), "contents");
}

TEST_P(RotationWithoutNoReplace, MovesADirectoryOutOfTheWayToo) {
  std::filesystem::create_directory(dir / "app.log");

  writer.WriteLine("", "line\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
  EXPECT_TRUE(std::filesystem::is_directory(dir / Rotated("000")));
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST_P(RotationWithoutNoReplace, NeedsNoRoomForAFile) {
  calls.Fail("open", ENOSPC);

  RotateOnce();

  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("000")));
  EXPECT_EQ(dir.Read(Rotated("000")), "contents");
  EXPECT_THAT(calls.Of({"chmod"}), IsEmpty());
}

TEST_P(RotationWithoutNoReplace, OverwritesNothingWhenThereIsNoRoomForAFile) {
  dir.Write(Rotated("000"), "of an earlier run");
  std::filesystem::create_symlink("nowhere", dir / Rotated("001"));
  calls.FailFrom("open", ENOSPC);

  RotateOnce();

  EXPECT_EQ(dir.Read(Rotated("000")), "of an earlier run");
  EXPECT_TRUE(std::filesystem::is_symlink(dir / Rotated("001")));
  EXPECT_EQ(dir.Read(Rotated("002")), "contents");
}

TEST_P(RotationWithoutNoReplace, LeavesNoEmptyFileBehindWhenTheRenameFails) {
  calls.Fail("rename", EACCES);

  RotateOnce();

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "contents");
}

// The name would be taken for free otherwise, and the file for moved.
TEST_P(RotationWithoutNoReplace, FailsForTheReasonOfTheRenameWhateverBecomesOfTheEmptyFile) {
  dir.Write("app.log", "contents");
  calls.Fail("rename", EACCES);
  calls.Fail("unlink", ENOENT);

  EXPECT_FALSE(writer.RotateFile(dir / "app.log"));
}

TEST_P(RotationWithoutNoReplace, GivesTheRotatedName0440WhenTheRenameFails) {
  calls.Fail("rename", EACCES);

  RotateOnce();

  EXPECT_THAT(calls.Of({"chmod"}),
              ElementsAre("chmod " + dir.Path() + "/" + Rotated("000") + " 0440"));
  EXPECT_EQ(dir.Read("app.log"), "contents");
}

TEST_P(RotationWithoutNoReplace, ReplacesNoLinkThatLeadsNowhere) {
  std::filesystem::create_symlink(dir / "nowhere", dir / Rotated("000"));

  RotateOnce();

  EXPECT_TRUE(std::filesystem::is_symlink(dir / Rotated("000")));
  EXPECT_EQ(dir.Read(Rotated("001")), "contents");
}

INSTANTIATE_TEST_SUITE_P(Refusal, RotationWithoutNoReplace,
                         ::testing::Values(EINVAL, ENOSYS, EPERM, EOPNOTSUPP, EACCES, ENOTTY),
                         [](const ::testing::TestParamInfo<int>& refusal) {
                           return "WithError" + std::to_string(refusal.param);
                         });

}  // namespace
