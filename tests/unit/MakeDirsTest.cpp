#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "MakeDirs.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

TEST(ZinMakeDirs, CreatesEveryComponent) {
  const ScratchDir dir;

  EXPECT_TRUE(ZinMakeDirs(dir / "a/b/c"));

  EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
}

TEST(ZinMakeDirs, GivesEveryComponentMode0750) {
  const ScratchDir dir;
  const ScopedUmask none(0);

  ZinMakeDirs(dir / "a/b");

  EXPECT_EQ(dir.ModeOf("a"), 0750u);
  EXPECT_EQ(dir.ModeOf("a/b"), 0750u);
}

TEST(ZinMakeDirs, LeavesTheModeToTheUmask) {
  const ScratchDir dir;
  const ScopedUmask strict(077);

  ZinMakeDirs(dir / "a/b");

  EXPECT_EQ(dir.ModeOf("a"), 0700u);
  EXPECT_EQ(dir.ModeOf("a/b"), 0700u);
}

TEST(ZinMakeDirs, LeavesTheModeOfADirectoryThatExists) {
  const ScratchDir dir;
  fs::create_directory(dir / "a");
  fs::permissions(dir / "a", fs::perms::owner_all);

  EXPECT_TRUE(ZinMakeDirs(dir / "a"));

  EXPECT_EQ(dir.ModeOf("a"), 0700u);
}

TEST(ZinMakeDirs, AcceptsATrailingSeparator) {
  const ScratchDir dir;

  EXPECT_TRUE(ZinMakeDirs(dir / "a/b/"));

  EXPECT_THAT(dir.Names("a"), ElementsAre("b"));
}

TEST(ZinMakeDirs, AcceptsDoubledSeparators) {
  const ScratchDir dir;

  EXPECT_TRUE(ZinMakeDirs(dir / "/a//b"));

  EXPECT_TRUE(fs::is_directory(dir / "a/b"));
}

TEST(ZinMakeDirs, CreatesARelativePathInTheWorkingDirectory) {
  const ScratchDir dir;
  const ScopedWorkingDirectory here(dir.Path());

  EXPECT_TRUE(ZinMakeDirs("a/b"));

  EXPECT_TRUE(fs::is_directory(dir / "a/b"));
}

TEST(ZinMakeDirs, CreatesADirectoryOfOneCharacter) {
  const ScratchDir dir;
  const ScopedWorkingDirectory here(dir.Path());

  EXPECT_TRUE(ZinMakeDirs("a"));

  EXPECT_THAT(dir.Names(), ElementsAre("a"));
}

TEST(ZinMakeDirs, ReturnsTrueForAnEmptyPathAndCreatesNothing) {
  const ScratchDir dir;
  const ScopedWorkingDirectory here(dir.Path());

  EXPECT_TRUE(ZinMakeDirs(""));

  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(ZinMakeDirs, ReturnsTrueEvenWhenNothingCanBeCreated) {
  const ScratchDir dir;
  dir.Write("file", "in the way");

  EXPECT_TRUE(ZinMakeDirs(dir / "file/a/b"));

  EXPECT_THAT(dir.Names(), ElementsAre("file"));
}

}  // namespace
