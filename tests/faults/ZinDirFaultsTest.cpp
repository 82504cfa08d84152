#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "CapturedStandardError.h"
#include "FailingCalls.h"
#include "MakeDirs.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"
#include "ZinDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;
namespace fs = std::filesystem;

// ---- Making directories -------------------------------------------------

TEST(ZinMakeDirsCalls, MakeEveryComponentInOrderAndNeverTheEmptyString) {
  FailingCalls calls;
  calls.UseNoAccount();
  calls.FailFrom("mkdir", EROFS);

  EXPECT_TRUE(ZinMakeDirs("/a/b/c"));

  EXPECT_THAT(calls.Of({"mkdir"}),
              ElementsAre("mkdir /a 0750", "mkdir /a/b 0750", "mkdir /a/b/c 0750"));
}

TEST(ZinMakeDirsCalls, MakeADirectoryWithATrailingSeparatorTwice) {
  FailingCalls calls;
  calls.UseNoAccount();
  calls.FailFrom("mkdir", EEXIST);

  EXPECT_TRUE(ZinMakeDirs("a/b/"));

  EXPECT_THAT(calls.Of({"mkdir"}),
              ElementsAre("mkdir a 0750", "mkdir a/b 0750", "mkdir a/b/ 0750"));
}

TEST(ZinMakeDirsCalls, MakeAPathOfOneCharacterOrNoneAtOnce) {
  FailingCalls calls;
  calls.UseNoAccount();
  calls.FailFrom("mkdir", EEXIST);

  EXPECT_TRUE(ZinMakeDirs("/"));
  EXPECT_TRUE(ZinMakeDirs(""));

  EXPECT_THAT(calls.Of({"mkdir"}), ElementsAre("mkdir / 0750", "mkdir  0750"));
}

TEST(ZinMakeDirsCalls, HandOnlyTheLastDirectoryToTheServiceAccount) {
  const ScratchDir dir;
  const CapturedStandardError error;
  FailingCalls calls;
  calls.UseAccount(54321, 54322);

  EXPECT_TRUE(ZinMakeDirs(dir / "a/b"));

  EXPECT_THAT(calls.Of({"getpwnam_r", "lchown"}),
              ElementsAre("getpwnam_r qorsrvr", "lchown " + dir.Path() + "/a/b 54321:54322"));
  EXPECT_EQ(error.Text(), "");
}

TEST(ZinMakeDirsCalls, HandADirectoryOverAfterItIsMade) {
  const ScratchDir dir;
  const ScopedWorkingDirectory here(dir.Path());
  FailingCalls calls;
  calls.UseAccount(54321, 54322);

  ZinMakeDirs("a");

  EXPECT_THAT(calls.Of({"mkdir", "lchown"}), ElementsAre("mkdir a 0750", "lchown a 54321:54322"));
}

TEST(ZinMakeDirsCalls, GoOnAfterAComponentThatCannotBeMade) {
  const ScratchDir dir;
  fs::create_directory(dir / "a");
  FailingCalls calls;
  calls.UseNoAccount();
  calls.Fail("mkdir", EACCES);

  EXPECT_TRUE(ZinMakeDirs(dir / "a/b"));

  EXPECT_TRUE(dir.Has("a/b"));
}

// ---- Removing -----------------------------------------------------------

TEST(ZinRemoveDirRecursiveCalls, RemoveADirectoryBeforeTheyCloseIt) {
  const ScratchDir dir;
  fs::create_directories(dir / "tree");
  const std::string tree = dir / "tree";
  const FailingCalls calls;

  ZinRemoveDirRecursive(tree);

  EXPECT_THAT(calls.Of({"opendir", "rmdir", "closedir"}),
              ElementsAre("opendir " + tree, "rmdir " + tree, "closedir " + tree));
}

TEST(ZinRemoveDirRecursiveCalls, RemoveTheInnerDirectoryFirst) {
  const ScratchDir dir;
  fs::create_directories(dir / "tree/inner");
  const std::string tree = dir / "tree";
  const std::string inner = tree + "/inner";
  const FailingCalls calls;

  ZinRemoveDirRecursive(tree);

  EXPECT_THAT(calls.Of({"opendir", "rmdir", "closedir"}),
              ElementsAre("opendir " + tree, "opendir " + inner, "rmdir " + inner,
                          "closedir " + inner, "rmdir " + tree, "closedir " + tree));
}

TEST(ZinRemoveDirRecursiveCalls, GoOnAfterAFileThatCannotBeRemoved) {
  const ScratchDir dir;
  fs::create_directory(dir / "tree");
  for (const char* const name : {"tree/a", "tree/b", "tree/c"}) dir.Write(name, "");
  FailingCalls calls;
  calls.Fail("unlink", EACCES, 1);

  ZinRemoveDirRecursive(dir / "tree");

  EXPECT_THAT(calls.Of({"unlink", "rmdir"}), SizeIs(4));
  EXPECT_THAT(dir.Names("tree"), SizeIs(1));
}

TEST(ZinRemoveDirRecursiveCalls, SkipWhatVanishesBeforeItIsExamined) {
  const ScratchDir dir;
  fs::create_directory(dir / "tree");
  dir.Write("tree/a", "");
  FailingCalls calls;
  calls.Fail("stat", ENOENT);

  ZinRemoveDirRecursive(dir / "tree");

  EXPECT_THAT(calls.Of({"unlink"}), IsEmpty());
  EXPECT_TRUE(dir.Has("tree/a"));
}

TEST(ZinRemoveDirRecursiveCalls, TouchNothingWhenTheDirectoryCannotBeOpened) {
  const ScratchDir dir;
  fs::create_directory(dir / "tree");
  FailingCalls calls;
  calls.Fail("opendir", EACCES);

  ZinRemoveDirRecursive(dir / "tree");

  EXPECT_THAT(calls.Record(), ElementsAre("opendir " + dir.Path() + "/tree"));
}

TEST(ZinRemoveDirCalls, AreOneRmdir) {
  FailingCalls calls;
  calls.Fail("rmdir", EBUSY);

  EXPECT_FALSE(ZinRemoveDir("/x/y"));

  EXPECT_EQ(errno, EBUSY);
  EXPECT_THAT(calls.Record(), ElementsAre("rmdir /x/y"));
}

TEST(ZinRemoveFileCalls, AreOneRemove) {
  FailingCalls calls;
  calls.Fail("remove", EPERM);

  EXPECT_EQ(ZinRemoveFile("/x/y"), -1);

  EXPECT_EQ(errno, EPERM);
  EXPECT_THAT(calls.Record(), ElementsAre("remove /x/y"));
}

// ---- Examining and listing ----------------------------------------------

TEST(ZinDirCalls, ReadSizeAndTimeAsZeroWhenTheFileCannotBeExamined) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100, 5}});
  FailingCalls calls;
  calls.FailFrom("stat", EIO);

  EXPECT_EQ(ZinGetFileSize(files[0]), 0u);
  EXPECT_EQ(ZinGetFileModifyTime(files[0]), 0u);
}

TEST(ZinListLogFilesCalls, SkipOnlyTheFileThatVanishesBeforeItIsExamined) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 1}, {"b.log", 2}, {"c.log", 3}});
  FailingCalls calls;
  calls.Fail("stat", ENOENT, 2);

  EXPECT_THAT(ZinListLogFiles(dir.Path()), SizeIs(2));
}

TEST(ZinListLogFilesCalls, CloseTheDirectory) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 1}});
  const FailingCalls calls;

  (void)ZinListLogFiles(dir.Path());

  EXPECT_THAT(calls.Of({"opendir", "closedir"}),
              ElementsAre("opendir " + dir.Path(), "closedir " + dir.Path()));
}

TEST(ZinListLogFilesCalls, ReturnWhatWasReadBeforeAReadFailed) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 1}});
  FailingCalls calls;
  calls.FailFrom("readdir", EIO, 4);  // after ".", ".." and the file

  EXPECT_THAT(ZinListLogFiles(dir.Path()), ElementsAre(dir / "a.log"));
}

TEST(ZinListRotatedFilesCalls, ExamineNoEntryAndCloseTheDirectory) {
  const ScratchDir dir;
  dir.AddLogs({{"app_1.log", 1}, {"app_2.log", 2}});
  FailingCalls calls;
  calls.FailFrom("stat", ENOENT);

  EXPECT_THAT(ZinListRotatedFiles("app.log", dir.Path()), ElementsAre("app_1.log", "app_2.log"));

  EXPECT_THAT(calls.Of({"stat", "lstat"}), IsEmpty());
  EXPECT_THAT(calls.Of({"closedir"}), ElementsAre("closedir " + dir.Path()));
}

TEST(ZinListCalls, ReturnNothingWhenTheDirectoryCannotBeOpened) {
  const ScratchDir dir;
  dir.AddLogs({{"app_1.log", 1}});
  FailingCalls calls;
  calls.FailFrom("opendir", EMFILE);

  EXPECT_THAT(ZinListLogFiles(dir.Path()), IsEmpty());
  EXPECT_THAT(ZinListRotatedFiles("app.log", dir.Path()), IsEmpty());
}

// ---- Resolving ----------------------------------------------------------

TEST(ZinIsPathResolvableCalls, AreNoneForMoreThan4096Bytes) {
  const FailingCalls calls;

  EXPECT_FALSE(ZinIsPathResolvable("/", 4097));

  EXPECT_THAT(calls.Record(), IsEmpty());
}

TEST(ZinIsPathResolvableCalls, AreOneResolutionFor4096Bytes) {
  const FailingCalls calls;

  EXPECT_TRUE(ZinIsPathResolvable("/", 4096));

  EXPECT_THAT(calls.Record(), ElementsAre("realpath /"));
}

TEST(ZinIsPathResolvableCalls, ForgiveAMissingPathAndNothingElse) {
  for (const int error : {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOTDIR, EINVAL}) {
    FailingCalls calls;
    calls.Fail("realpath", error);
    EXPECT_FALSE(ZinIsPathResolvable("/", 1)) << error;
  }
  FailingCalls calls;
  calls.Fail("realpath", ENOENT);
  EXPECT_TRUE(ZinIsPathResolvable("/", 1));
}

TEST(ZinGetRealPathCalls, ForgiveAMissingPathAndNothingElse) {
  for (const int error : {EACCES, EIO, ELOOP, ENAMETOOLONG, ENOTDIR, EINVAL}) {
    FailingCalls calls;
    calls.Fail("realpath", error);
    std::string resolved = "before";
    EXPECT_FALSE(ZinGetRealPath("/", resolved)) << error;
    EXPECT_EQ(resolved, "before");
  }
  FailingCalls calls;
  calls.Fail("realpath", ENOENT);
  std::string resolved = "before";
  EXPECT_TRUE(ZinGetRealPath("/", resolved));
  EXPECT_EQ(resolved, "/");
}

}  // namespace
