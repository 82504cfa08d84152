// Two workers of one channel, or two processes, on one file: what the other one
// does between two steps of opening it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
namespace fs = std::filesystem;

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
std::string Rotated(const std::string& sequence) {
  return "app_20260105090307042-" + sequence + "-4711.log";
}

class SecondWorker : public ::testing::Test {
 protected:
  SecondWorker() { calls.UseNoAccount(); }

  const ScratchDir dir;
  FailingCalls calls;
  LogFileWriter writer{"app.log", dir.Path(), 1000, MiB(1)};
};

TEST_F(SecondWorker, LosesNoLineOfAFileThatItCreatedJustBeforeOurs) {
  calls.Before(
      "open", [&] { dir.Write("app.log", "of the other\n"); }, 2);

  writer.WriteLine("", "ours\n");

  EXPECT_EQ(dir.Read(Rotated("000")), "of the other\n");
  EXPECT_EQ(dir.Read("app.log"), "ours\n");
}

TEST_F(SecondWorker, LosesNoLineOfAFileThatItCreatedAfterWeMovedAnotherAside) {
  dir.Write("app.log", "of the earlier run\n");
  calls.Before(
      "open", [&] { dir.Write("app.log", "of the other\n"); }, 2);

  writer.WriteLine("", "ours\n");

  EXPECT_EQ(dir.Read(Rotated("000")), "of the earlier run\n");
  EXPECT_EQ(dir.Read(Rotated("001")), "of the other\n");
  EXPECT_EQ(dir.Read("app.log"), "ours\n");
}

// A moment before each of our attempts it has created another one.
TEST_F(SecondWorker, LosesNoLineHoweverOftenItIsFaster) {
  constexpr int fileCount = 5;
  int created = 0;
  const auto create = [&] {
    if (created == fileCount || dir.Has("app.log")) return;
    dir.Write("app.log", "of the other " + std::to_string(created++) + "\n");
  };
  // The first is our look for a file of an earlier run.
  for (int open = 2; open < 6 * fileCount; ++open) calls.Before("open", create, open);

  writer.WriteLine("", "ours\n");

  ASSERT_EQ(created, fileCount);
  for (int i = 0; i < fileCount; ++i) {
    EXPECT_EQ(dir.Read(Rotated("00" + std::to_string(i))),
              "of the other " + std::to_string(i) + "\n");
  }
  EXPECT_EQ(dir.Read("app.log"), "ours\n");
}

TEST_F(SecondWorker, MayMoveTheFileAsideBeforeUs) {
  dir.Write("app.log", "of the earlier run\n");
  calls.Before("renameat2", [&] { fs::rename(dir / "app.log", dir / "moved.log"); });

  writer.WriteLine("", "ours\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", "moved.log"));
  EXPECT_EQ(dir.Read("moved.log"), "of the earlier run\n");
  EXPECT_EQ(dir.Read("app.log"), "ours\n");
}

TEST_F(SecondWorker, MayMoveTheFileAsideBeforeUsAndCreateItsOwn) {
  dir.Write("app.log", "of the earlier run\n");
  calls.Before("renameat2", [&] { fs::rename(dir / "app.log", dir / "moved.log"); });
  calls.Before(
      "open", [&] { dir.Write("app.log", "of the other\n"); }, 2);

  writer.WriteLine("", "ours\n");

  EXPECT_EQ(dir.Read("moved.log"), "of the earlier run\n");
  EXPECT_EQ(dir.Read(Rotated("001")), "of the other\n");
  EXPECT_EQ(dir.Read("app.log"), "ours\n");
}

TEST_F(SecondWorker, LosesItsFileWhenThatCannotBeMovedAside) {
  calls.Before(
      "open", [&] { dir.Write("app.log", "of the other\n"); }, 2);
  calls.FailFrom("renameat2", EACCES);
  calls.FailFrom("rename", EACCES);

  writer.WriteLine("", "ours\n");

  // Never a hang, never a dropped line: the file is emptied as any other.
  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "ours\n");
}

TEST_F(SecondWorker, IsNotMistakenForALinkToAFileThatDoesNotExistYet) {
  fs::create_symlink(dir / "target", dir / "app.log");

  writer.WriteLine("", "through the link\n");

  EXPECT_TRUE(fs::is_symlink(dir / "app.log"));
  EXPECT_EQ(dir.Read("target"), "through the link\n");
}

}  // namespace
