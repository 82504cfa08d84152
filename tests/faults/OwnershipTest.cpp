#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <thread>

#include "CapturedStandardError.h"
#include "FailingCalls.h"
#include "OwnershipLines.h"
#include "ScratchDir.h"
#include "ZinDirOwnership.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;
namespace fs = std::filesystem;

constexpr int failure = -10000;

class ZinChown : public ::testing::Test {
 protected:
  ZinChown() { calls.UseAccount(54321, 54322); }

  int Chown(const std::string& path, const char* owner = "qorsrvr") {
    return ZinChownDirAndFirstDepthFiles(path.c_str(), owner);
  }

  std::vector<std::string> Lines() { return WithoutSourceLines(error.Text()); }

  std::string Owned(const std::string& name) {
    return "lchown " + (name.empty() ? dir.Path() : dir / name) + " 54321:54322";
  }

  const ScratchDir dir;
  FailingCalls calls;
  const CapturedStandardError error;
};

// ---- What changes hands -------------------------------------------------

TEST_F(ZinChown, HandsAnEmptyDirectoryOver) {
  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"lchown"}), ElementsAre(Owned("")));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ZinChown, LooksTheOwnerUpByName) {
  EXPECT_EQ(Chown(dir.Path(), "someone"), 0);

  EXPECT_THAT(calls.Of({"getpwnam_r"}), ElementsAre("getpwnam_r someone"));
}

TEST_F(ZinChown, HandsDirectoryFilesAndLinksToFilesOverAndNoSubDirectory) {
  fs::create_directory(dir / "sub");
  dir.Write("sub/inner", "");
  dir.Write("file", "");
  fs::create_symlink(dir / "sub/inner", dir / "link");
  fs::create_directory_symlink(dir / "sub", dir / "link-to-sub");
  fs::create_symlink(dir / "nowhere", dir / "dangling");

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"lchown"}), UnorderedElementsAre(Owned(""), Owned("file"), Owned("link")));
  EXPECT_EQ(calls.Of({"lchown"}).front(), Owned(""));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ZinChown, HandsWhateverIsNoDirectoryOver) {
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  fs::create_symlink("pipe", dir / "link-to-pipe");
  dir.Write(".hidden", "");

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"lchown"}), UnorderedElementsAre(Owned(""), Owned("pipe"),
                                                         Owned("link-to-pipe"), Owned(".hidden")));
}

TEST_F(ZinChown, ClosesTheDirectory) {
  dir.Write("file", "");

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"opendir", "closedir"}),
              ElementsAre("opendir " + dir.Path(), "closedir " + dir.Path()));
}

TEST_F(ZinChown, SkipsAFileThatVanishesBeforeItIsExamined) {
  dir.Write("file", "");
  calls.Fail("stat", ENOENT);

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"lchown"}), ElementsAre(Owned("")));
}

// ---- What fails ---------------------------------------------------------

TEST_F(ZinChown, ReportsADirectoryThatCannotBeHandedOverAndDoesNotOpenIt) {
  calls.Fail("lchown", EPERM);

  EXPECT_EQ(Chown(dir.Path()), failure);

  EXPECT_THAT(Lines(), ElementsAre(OwnershipLine("Failed to lchown to user, error:1")));
  EXPECT_THAT(calls.Of({"opendir"}), IsEmpty());
}

TEST_F(ZinChown, ReportsAMissingDirectoryWithItsNumber) {
  calls.Fail("lchown", ENOENT);

  EXPECT_EQ(Chown(dir / "missing"), failure);

  EXPECT_THAT(Lines(), ElementsAre(OwnershipLine("Failed to lchown to user, error:2")));
}

TEST_F(ZinChown, HandsAFileOverAndThenReportsThatItIsNoDirectory) {
  dir.Write("app.log", "");

  EXPECT_EQ(Chown(dir / "app.log"), failure);

  EXPECT_THAT(calls.Of({"lchown"}), ElementsAre(Owned("app.log")));
  EXPECT_THAT(Lines(),
              ElementsAre(OwnershipLine("Failed open dir,path=" + dir.Path() + "/app.log")));
}

TEST_F(ZinChown, ReportsEveryFailureThatIsNoLookup) {
  calls.Fail("lchown", EPERM, 1);
  calls.Fail("lchown", EPERM, 2);
  dir.Write("app.log", "");

  for (int i = 0; i < 2; ++i) EXPECT_EQ(Chown(dir.Path()), failure);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Chown(dir / "app.log"), failure);

  const std::string refused = OwnershipLine("Failed to lchown to user, error:1");
  const std::string noDirectory = OwnershipLine("Failed open dir,path=" + dir.Path() + "/app.log");
  EXPECT_THAT(Lines(), ElementsAre(refused, refused, noDirectory, noDirectory));
}

TEST_F(ZinChown, StopsAtTheFirstFileThatCannotBeHandedOver) {
  for (const char* const name : {"a", "b", "c"}) dir.Write(name, "");
  calls.Fail("lchown", EROFS, 3);  // the directory, a file, and then this one

  EXPECT_EQ(Chown(dir.Path()), failure);

  EXPECT_THAT(calls.Of({"lchown"}), SizeIs(3));
  EXPECT_THAT(calls.Of({"closedir"}), ElementsAre("closedir " + dir.Path()));
  EXPECT_THAT(Lines(), ElementsAre(OwnershipLine("Failed to lchown to user, error:30")));
}

// ---- Accounts that are not found ----------------------------------------

TEST_F(ZinChown, ReportsAnUnknownOwnerOnceByName) {
  calls.UseNoAccount();

  EXPECT_EQ(Chown(dir.Path(), "nobody-1"), failure);
  EXPECT_EQ(Chown(dir.Path(), "nobody-1"), failure);
  EXPECT_EQ(Chown(dir.Path(), "nobody-2"), failure);
  EXPECT_EQ(Chown(dir.Path(), "nobody-1"), failure);

  EXPECT_THAT(Lines(),
              ElementsAre(OwnershipLine("Can't get user name id, errno: 0, owner = nobody-1"),
                          OwnershipLine("Can't get user name id, errno: 0, owner = nobody-2")));
  EXPECT_THAT(calls.Of({"lchown", "opendir"}), IsEmpty());
}

TEST_F(ZinChown, ReportsTheNumberOfAFailedLookup) {
  calls.Fail("getpwnam_r", EIO);

  EXPECT_EQ(Chown(dir.Path()), failure);

  EXPECT_THAT(Lines(),
              ElementsAre(OwnershipLine("Can't get user name id, errno: 5, owner = qorsrvr")));
}

TEST_F(ZinChown, LooksUpAgainAfterAFailure) {
  calls.Fail("getpwnam_r", EIO);
  EXPECT_EQ(Chown(dir.Path()), failure);

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"lchown"}), ElementsAre(Owned("")));
}

TEST_F(ZinChown, StaysSilentAboutAnOwnerThatFailedOnceBefore) {
  calls.Fail("getpwnam_r", EIO, 1);
  calls.Fail("getpwnam_r", EIO, 3);
  calls.LetTimePass(0);

  EXPECT_EQ(Chown(dir.Path()), failure);
  EXPECT_EQ(Chown(dir.Path()), 0);
  calls.LetTimePass(1000);
  EXPECT_EQ(Chown(dir.Path()), failure);

  EXPECT_THAT(Lines(), SizeIs(1));
}

// A file that cannot be opened asks twice for every line that comes for it.
TEST_F(ZinChown, LooksAnOwnerUpOnceASecond) {
  calls.LetTimePass(0);
  EXPECT_EQ(Chown(dir.Path()), 0);
  calls.UseAccount(11, 12);
  calls.LetTimePass(999);
  EXPECT_EQ(Chown(dir.Path()), 0);
  EXPECT_THAT(calls.Of({"getpwnam_r"}), SizeIs(1));

  calls.LetTimePass(1);
  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(calls.Of({"lchown"}),
              ElementsAre(Owned(""), Owned(""), "lchown " + dir.Path() + " 11:12"));
}

// Cut off, the answer would be kept for another name.
TEST_F(ZinChown, KeepsNoAnswerForANameOfSixtyFourBytes) {
  const std::string longName(64, 'n');
  calls.UseAccount(0, 0);
  calls.LetTimePass(0);

  EXPECT_EQ(Chown(dir.Path(), longName.c_str()), 0);
  EXPECT_EQ(Chown(dir.Path(), longName.c_str()), 0);

  EXPECT_THAT(calls.Of({"getpwnam_r"}), SizeIs(2));
}

TEST_F(ZinChown, FindsAnOwnerThatWasUnknownASecondAgo) {
  calls.UseNoAccount();
  calls.LetTimePass(0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Chown(dir.Path()), failure);
  EXPECT_THAT(calls.Of({"getpwnam_r"}), SizeIs(1));
  calls.UseAccount(54321, 54322);

  calls.LetTimePass(1000);

  EXPECT_EQ(Chown(dir.Path()), 0);
}

TEST_F(ZinChown, TakesNoAnswerForThatOfAnotherOwner) {
  calls.LetTimePass(0);
  EXPECT_EQ(Chown(dir.Path(), "one"), 0);
  calls.UseNoAccount();

  EXPECT_EQ(Chown(dir.Path(), "two"), failure);
  calls.UseAccount(54321, 54322);
  EXPECT_EQ(Chown(dir.Path(), "one"), 0);
}

TEST_F(ZinChown, KeepsNoAnswerThatTellsOfAFault) {
  calls.LetTimePass(0);
  for (const int fault : {EMFILE, EIO, ENOMEM}) {
    calls.Fail("getpwnam_r", fault);
    EXPECT_EQ(Chown(dir.Path()), failure);
    calls.Forget();
  }

  EXPECT_EQ(Chown(dir.Path()), 0);
}

TEST_F(ZinChown, OffersALargerBufferWhenTheRecordDoesNotFit) {
  calls.Fail("getpwnam_r", ERANGE, 1);
  calls.Fail("getpwnam_r", ERANGE, 2);

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ZinChown, GivesUpOnARecordThatNeverFits) {
  calls.FailFrom("getpwnam_r", ERANGE);

  EXPECT_EQ(Chown(dir.Path()), failure);

  EXPECT_THAT(Lines(),
              ElementsAre(OwnershipLine("Can't get user name id, errno: 34, owner = qorsrvr")));
}

TEST_F(ZinChown, ReportsAnUnknownOwnerOnceFromManyThreads) {
  calls.UseNoAccount();
  std::vector<std::thread> threads;

  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this] { EXPECT_EQ(Chown(dir.Path(), "nobody-3"), failure); });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_THAT(Lines(), SizeIs(1));
}

}  // namespace
