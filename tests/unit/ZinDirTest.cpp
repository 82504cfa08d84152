#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "ProcessSettings.h"
#include "ScratchDir.h"
#include "ZinDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
namespace fs = std::filesystem;

// ---- Removing -----------------------------------------------------------

TEST(ZinRemoveDir, RemovesAnEmptyDirectory) {
  const ScratchDir dir;
  fs::create_directory(dir / "empty");

  EXPECT_TRUE(ZinRemoveDir(dir / "empty"));

  EXPECT_FALSE(dir.Has("empty"));
}

TEST(ZinRemoveDir, RefusesADirectoryWithContentsAndLeavesErrno) {
  const ScratchDir dir;
  dir.Write("file", "text");
  errno = 0;

  EXPECT_FALSE(ZinRemoveDir(dir.Path()));

  EXPECT_EQ(errno, ENOTEMPTY);
  EXPECT_TRUE(dir.Has("file"));
}

TEST(ZinRemoveDir, RefusesAFile) {
  const ScratchDir dir;
  dir.Write("file", "text");

  EXPECT_FALSE(ZinRemoveDir(dir / "file"));

  EXPECT_TRUE(dir.Has("file"));
}

TEST(ZinRemoveFile, ReturnsZeroForAFileThatIsGoneNow) {
  const ScratchDir dir;
  dir.Write("file", "text");

  EXPECT_EQ(ZinRemoveFile(dir / "file"), 0);

  EXPECT_FALSE(dir.Has("file"));
}

TEST(ZinRemoveFile, RemovesAnEmptyDirectoryToo) {
  const ScratchDir dir;
  fs::create_directory(dir / "empty");

  EXPECT_EQ(ZinRemoveFile(dir / "empty"), 0);

  EXPECT_FALSE(dir.Has("empty"));
}

TEST(ZinRemoveFile, ReturnsMinusOneForAMissingFileAndLeavesErrno) {
  const ScratchDir dir;
  errno = 0;

  EXPECT_EQ(ZinRemoveFile(dir / "missing"), -1);

  EXPECT_EQ(errno, ENOENT);
}

TEST(ZinRemoveDirRecursive, DeletesAWholeTree) {
  const ScratchDir dir;
  fs::create_directories(dir / "tree/a/b");
  fs::create_directories(dir / "tree/empty");
  dir.Write("tree/top", "1");
  dir.Write("tree/.hidden", "2");
  dir.Write("tree/a/b/deep", "3");

  ZinRemoveDirRecursive(dir / "tree");

  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(ZinRemoveDirRecursive, LeavesADanglingLinkAndThereforeTheDirectoriesAboveIt) {
  const ScratchDir dir;
  fs::create_directories(dir / "tree/inner");
  dir.Write("tree/file", "1");
  fs::create_symlink(dir / "nowhere", dir / "tree/inner/dangling");

  ZinRemoveDirRecursive(dir / "tree");

  EXPECT_THAT(dir.Names("tree"), ElementsAre("inner"));
  EXPECT_THAT(dir.Names("tree/inner"), ElementsAre("dangling"));
}

TEST(ZinRemoveDirRecursive, RemovesALinkToAFileAndKeepsTheFile) {
  const ScratchDir dir;
  dir.Write("outside", "kept");
  fs::create_directory(dir / "tree");
  fs::create_symlink(dir / "outside", dir / "tree/link");

  ZinRemoveDirRecursive(dir / "tree");

  EXPECT_THAT(dir.Names(), ElementsAre("outside"));
}

TEST(ZinRemoveDirRecursive, FollowsALinkToADirectoryAndEmptiesItButLeavesTheLink) {
  const ScratchDir dir;
  fs::create_directory(dir / "outside");
  dir.Write("outside/file", "1");
  fs::create_directory(dir / "tree");
  fs::create_directory_symlink(dir / "outside", dir / "tree/link");

  ZinRemoveDirRecursive(dir / "tree");

  // The link is examined as the directory it leads to; rmdir refuses a link.
  EXPECT_THAT(dir.Names("outside"), IsEmpty());
  EXPECT_THAT(dir.Names("tree"), ElementsAre("link"));
}

TEST(ZinRemoveDirRecursive, DoesNothingToAFile) {
  const ScratchDir dir;
  dir.Write("file", "text");

  ZinRemoveDirRecursive(dir / "file");

  EXPECT_TRUE(dir.Has("file"));
}

TEST(ZinRemoveDirRecursive, DoesNothingWhereNothingIs) {
  const ScratchDir dir;
  dir.Write("neighbour", "text");

  ZinRemoveDirRecursive(dir / "missing");

  EXPECT_THAT(dir.Names(), ElementsAre("neighbour"));
}

// ---- Size and modification time -----------------------------------------

TEST(ZinGetFileSize, IsTheNumberOfBytes) {
  const ScratchDir dir;
  dir.Write("file", "12345");
  dir.Write("empty", "");

  EXPECT_EQ(ZinGetFileSize(dir / "file"), 5u);
  EXPECT_EQ(ZinGetFileSize(dir / "empty"), 0u);
}

TEST(ZinGetFileSize, HoldsMoreThanFourGibibytes) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"huge.log", 100, MiB(5 * 1024) + 3}});

  EXPECT_EQ(ZinGetFileSize(files[0]), 5368709123u);
}

TEST(ZinGetFileSize, IsZeroForAMissingPath) {
  const ScratchDir dir;

  EXPECT_EQ(ZinGetFileSize(dir / "missing"), 0u);
}

TEST(ZinGetFileSize, IsThatOfTheTargetForALink) {
  const ScratchDir dir;
  dir.Write("target", "1234567");
  fs::create_symlink(dir / "target", dir / "link");
  fs::create_symlink(dir / "nowhere", dir / "dangling");

  EXPECT_EQ(ZinGetFileSize(dir / "link"), 7u);
  EXPECT_EQ(ZinGetFileSize(dir / "dangling"), 0u);
}

TEST(ZinGetFileModifyTime, IsInWholeSeconds) {
  const ScratchDir dir;
  dir.Write("file", "");
  const timespec times[2] = {{5, 0}, {1767603787, 999999999}};
  ASSERT_EQ(utimensat(AT_FDCWD, (dir / "file").c_str(), times, 0), 0);

  EXPECT_EQ(ZinGetFileModifyTime(dir / "file"), 1767603787u);
}

TEST(ZinGetFileModifyTime, IsZeroForAMissingPath) {
  const ScratchDir dir;

  EXPECT_EQ(ZinGetFileModifyTime(dir / "missing"), 0u);
}

TEST(ZinGetFileModifyTime, IsZeroForAFileOfTheEpoch) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"epoch.log", 0}});

  EXPECT_EQ(ZinGetFileModifyTime(files[0]), 0u);
}

TEST(ZinGetFileModifyTime, IsThatOfTheTargetForALink) {
  const ScratchDir dir;
  dir.AddLogs({{"target.log", 100}});
  fs::create_symlink(dir / "target.log", dir / "link.log");

  EXPECT_EQ(ZinGetFileModifyTime(dir / "link.log"), 100u);
}

// ---- Resolving ----------------------------------------------------------

bool IsResolvable(const std::string& path) {
  return ZinIsPathResolvable(path.c_str(), static_cast<int>(path.size()));
}

TEST(ZinIsPathResolvable, AcceptsWhatExists) {
  const ScratchDir dir;
  dir.Write("file", "");

  EXPECT_TRUE(IsResolvable(dir.Path()));
  EXPECT_TRUE(IsResolvable(dir / "file"));
}

TEST(ZinIsPathResolvable, AcceptsAFileThatDoesNotExistYet) {
  const ScratchDir dir;

  EXPECT_TRUE(IsResolvable(dir / "future.log"));
  EXPECT_TRUE(IsResolvable(dir / "future-directory/future.log"));
}

TEST(ZinIsPathResolvable, RefusesAPathThroughAFile) {
  const ScratchDir dir;
  dir.Write("file", "");

  EXPECT_FALSE(IsResolvable(dir / "file/x.log"));
}

TEST(ZinIsPathResolvable, RefusesALoopOfLinks) {
  const ScratchDir dir;
  fs::create_symlink(dir / "b", dir / "a");
  fs::create_symlink(dir / "a", dir / "b");

  EXPECT_FALSE(IsResolvable(dir / "a"));
}

TEST(ZinIsPathResolvable, RefusesMoreThan4096BytesByTheLengthGiven) {
  const ScratchDir dir;

  EXPECT_TRUE(ZinIsPathResolvable(dir.Path().c_str(), 4096));
  EXPECT_FALSE(ZinIsPathResolvable(dir.Path().c_str(), 4097));
  EXPECT_TRUE(ZinIsPathResolvable(dir.Path().c_str(), -1));
}

TEST(ZinGetRealPath, ResolvesLinksAndDots) {
  const ScratchDir dir;
  fs::create_directory(dir / "real");
  dir.Write("real/file", "");
  fs::create_directory_symlink(dir / "real", dir / "link");
  std::string resolved = "before";

  EXPECT_TRUE(ZinGetRealPath(dir / "link/../real/./file", resolved));

  EXPECT_EQ(resolved, fs::canonical(dir.Path()).string() + "/real/file");
}

TEST(ZinGetRealPath, TakesAMissingPathAsItIs) {
  const ScratchDir dir;
  std::string resolved = "before";

  EXPECT_TRUE(ZinGetRealPath(dir / "./missing", resolved));

  EXPECT_EQ(resolved, dir / "./missing");
}

TEST(ZinGetRealPath, LeavesTheOutputUntouchedOnAnyOtherFailure) {
  const ScratchDir dir;
  dir.Write("file", "");
  std::string resolved = "before";

  EXPECT_FALSE(ZinGetRealPath(dir / "file/below", resolved));

  EXPECT_EQ(resolved, "before");
}

}  // namespace
