#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "CapturedStandardError.h"
#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "OpenDescriptors.h"
#include "OwnershipLines.h"
#include "ProcessSettings.h"
#include "Sanitizers.h"
#include "ScratchDir.h"
#include "Surroundings.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::int64_t keepAll = 1000;
constexpr const char* rotated = "app_20260105090307042-000-4711.log";

class OpenFile : public ::testing::Test {
 protected:
  OpenFile() { calls.UseAccount(54321, 54322); }

  std::vector<std::string> Lines() { return WithoutSourceLines(error.Text()); }

  // The one failure that goes with every file that is opened.
  std::string NoDirectory(const std::string& file) {
    return OwnershipLine("Failed open dir,path=" + file);
  }

  const ScratchDir dir;
  const std::string path = dir / "app.log";
  FailingCalls calls;
  const CapturedStandardError error;
  LogFileWriter writer{"app.log", dir.Path(), keepAll, MiB(1)};
};

// ---- Order and arguments ------------------------------------------------

TEST_F(OpenFile, VetsReadsMakesOpensAndHandsOverInThisOrder) {
  writer.WriteLine("", "line\n");

  EXPECT_EQ(calls.Of({"realpath"}), std::vector<std::string>{"realpath " + path});
  const auto all = calls.Of({"realpath", "open", "chmod", "lchown", "renameat2"});
  EXPECT_THAT(all, ElementsAre("realpath " + path, "open " + path + " for reading",
                               "lchown " + dir.Path() + " 54321:54322",
                               "open " + path + " for writing 0640", "chmod " + path + " 0640",
                               "lchown " + path + " 54321:54322"));
}

TEST_F(OpenFile, MovesAFileOfAnEarlierRunAsideBeforeTheDirectoryIsMade) {
  dir.Write("app.log", "earlier\n");

  writer.WriteLine("", "line\n");

  EXPECT_THAT(calls.Of({"open", "renameat2", "lchown"}),
              ElementsAre("open " + path + " for reading",
                          "renameat2 " + path + " " + dir.Path() + "/" + rotated + " 1",
                          "lchown " + dir.Path() + " 54321:54322",
                          "lchown " + dir.Path() + "/" + rotated + " 54321:54322",
                          "open " + path + " for writing 0640", "lchown " + path + " 54321:54322"));
}

TEST_F(OpenFile, VetsThePathByItsLength) {
  LogFileWriter longest("app.log", std::string(4096 - sizeof "/app.log" + 1, 'x'), 0, MiB(1));
  LogFileWriter tooLong("app.log", std::string(4096 - sizeof "/app.log" + 2, 'x'), 0, MiB(1));

  tooLong.WriteLine("", "lost\n");
  EXPECT_THAT(calls.Of({"realpath"}), IsEmpty());
  longest.WriteLine("", "lost\n");
  EXPECT_THAT(calls.Of({"realpath"}), SizeIs(1));
}

TEST_F(OpenFile, SetsTheModeOfAMetricsFileTwice) {
  writer.WriteLine("metrics", "line\n");

  const std::string file = dir / "metrics/app.log";
  EXPECT_THAT(calls.Of({"chmod"}),
              ElementsAre("chmod " + file + " 0640", "chmod " + file + " 0660"));
}

TEST_F(OpenFile, ChangesTheModeToThatOfMetricsAfterTheOwner) {
  writer.WriteLine("metrics", "line\n");

  const std::string file = dir / "metrics/app.log";
  EXPECT_THAT(
      calls.Of({"chmod", "lchown"}),
      ElementsAre("lchown " + dir.Path() + "/metrics 54321:54322", "chmod " + file + " 0640",
                  "lchown " + file + " 54321:54322", "chmod " + file + " 0660"));
}

TEST_F(OpenFile, PutsASeparatorAfterADirectoryThatEndsInOne) {
  LogFileWriter doubled("app.log", dir.Path() + "/", keepAll, MiB(1));

  doubled.WriteLine("", "line\n");

  EXPECT_THAT(calls.Of({"open"}), Contains("open " + dir.Path() + "//app.log for writing 0640"));
}

TEST_F(OpenFile, ClosesRenamesAndOpensAgainWhenTheFileGrewPastItsLimit) {
  LogFileWriter small("app.log", dir.Path(), keepAll, 0);
  small.OpenFile("");
  calls.Forget();

  small.WriteLine("", "line\n");

  EXPECT_THAT(calls.Of({"write", "open", "renameat2"}),
              ElementsAre("write 5", "open " + path + " for reading",
                          "renameat2 " + path + " " + dir.Path() + "/" + rotated + " 1",
                          "open " + path + " for writing 0640"));
  auto beginning = calls.Of({"write", "close", "realpath"});
  beginning.resize(3);
  EXPECT_THAT(beginning, ElementsAre("write 5", "close", "realpath " + path));
}

// ---- Failures -----------------------------------------------------------

TEST_F(OpenFile, SetsModeAndOwnerEvenWhenTheOpenFailed) {
  calls.Fail("open", EACCES, 2);  // the first one looks whether the file is there

  writer.WriteLine("", "lost\n");

  EXPECT_THAT(calls.Of({"chmod"}), ElementsAre("chmod " + path + " 0640"));
  EXPECT_THAT(calls.Of({"lchown"}), Contains("lchown " + path + " 54321:54322"));
  EXPECT_THAT(writer.openFiles, IsEmpty());
  // Of the line that is lost nothing is said.
  EXPECT_THAT(Lines(), ElementsAre(NoDirectory(path)));
}

TEST_F(OpenFile, SetsTheModeOfAMetricsFileEvenWhenTheOpenFailed) {
  calls.Fail("open", EACCES, 2);

  writer.WriteLine("metrics", "lost\n");

  EXPECT_THAT(calls.Of({"chmod"}), ElementsAre("chmod " + dir.Path() + "/metrics/app.log 0640",
                                               "chmod " + dir.Path() + "/metrics/app.log 0660"));
}

TEST_F(OpenFile, IsTriedAgainForTheNextLine) {
  calls.Fail("open", EMFILE, 1);
  calls.Fail("open", EMFILE, 2);

  writer.WriteLine("", "lost\n");
  EXPECT_FALSE(dir.Has("app.log"));
  writer.WriteLine("", "kept\n");

  EXPECT_EQ(dir.Read("app.log"), "kept\n");
}

TEST_F(OpenFile, HoldsNothingAfterAFailure) {
  SKIP_IF(WhyNoProc());
  const long before = OpenDescriptorCount();
  calls.FailFrom("open", EMFILE);

  for (int i = 0; i < 10; ++i) writer.WriteLine("", "lost\n");

  EXPECT_EQ(OpenDescriptorCount(), before);
  EXPECT_THAT(writer.openFiles, IsEmpty());
}

TEST_F(OpenFile, LosesTheEntryWhenTheNewFileCannotBeOpenedAfterARotation) {
  LogFileWriter small("app.log", dir.Path(), keepAll, 3);
  small.OpenFile("");
  calls.Fail("open", ENFILE, 2);

  small.WriteLine("", "one\n");
  EXPECT_THAT(small.openFiles, IsEmpty());
  small.WriteLine("", "two");

  EXPECT_EQ(dir.Read(rotated), "one\n");
  EXPECT_EQ(dir.Read("app.log"), "two");
}

TEST_F(OpenFile, DoesNotMoveAFileThatCannotBeReadAside) {
  dir.Write("app.log", "earlier\n");
  calls.Fail("open", EACCES, 1);

  writer.WriteLine("", "line\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST_F(OpenFile, DoesNotUseTheAnswerOfTheVetting) {
  calls.FailFrom("realpath", EACCES);

  writer.WriteLine("", "line\n");

  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST_F(OpenFile, GoesOnWhenNoDirectoryCanBeMade) {
  calls.FailFrom("mkdir", EROFS);

  writer.WriteLine("", "line\n");

  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST_F(OpenFile, NeedsNoLaterChangeForMode0640) {
  const ScopedUmask none(0);
  calls.FailFrom("chmod", EPERM);

  writer.WriteLine("", "line\n");

  EXPECT_EQ(dir.ModeOf("app.log"), 0640u);
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST_F(OpenFile, IgnoresACloseThatFails) {
  LogFileWriter small("app.log", dir.Path(), keepAll, 0);
  small.OpenFile("");
  calls.Fail("close", EIO);

  small.WriteLine("", "one\n");
  small.WriteLine("", "two\n");

  EXPECT_EQ(dir.Read(rotated), "one\n");
  EXPECT_EQ(dir.Read("app_20260105090307042-001-4711.log"), "two\n");
}

TEST_F(OpenFile, SurvivesAFailedCloseAtTheEnd) {
  {
    LogFileWriter ending("app.log", dir.Path(), keepAll, MiB(1));
    ending.WriteLine("", "line\n");
    calls.FailFrom("close", EIO);
  }

  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

// ---- What the ownership step says ---------------------------------------

TEST_F(OpenFile, SaysThatTheFileIsNoDirectoryForEveryFile) {
  writer.WriteLine("", "one\n");
  writer.WriteLine("", "two\n");
  writer.WriteLine("net", "three\n");
  EXPECT_THAT(Lines(), ElementsAre(NoDirectory(path), NoDirectory(dir / "net/app.log")));

  writer.OpenFile("");
  EXPECT_THAT(Lines(),
              ElementsAre(NoDirectory(path), NoDirectory(dir / "net/app.log"), NoDirectory(path)));
}

TEST_F(OpenFile, SaysThatOwnersMayNotBeChangedForDirectoryAndFile) {
  calls.FailFrom("lchown", EPERM);

  writer.WriteLine("", "line\n");

  const std::string refused = OwnershipLine("Failed to lchown to user, error:1");
  EXPECT_THAT(Lines(), ElementsAre(refused, refused));
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST_F(OpenFile, SaysOnceThatTheAccountIsUnknown) {
  calls.UseNoAccount();
  calls.LetTimePass(0);

  writer.WriteLine("", "line\n");
  calls.LetTimePass(1000);
  writer.WriteLine("net", "line\n");

  EXPECT_THAT(Lines(),
              ElementsAre(OwnershipLine("Can't get user name id, errno: 0, owner = qorsrvr")));
  EXPECT_EQ(calls.Of({"getpwnam_r"}), std::vector<std::string>(2, "getpwnam_r qorsrvr"));
}

// ---- Standard descriptors -----------------------------------------------

// Standard input is closed as long as this lives.
class ClosedDescriptor {
 public:
  explicit ClosedDescriptor(int standardDescriptor)
      : descriptor(standardDescriptor), saved(fcntl(descriptor, F_DUPFD_CLOEXEC, 3)) {
    (void)close(descriptor);
  }
  ~ClosedDescriptor() {
    if (saved < 0) return;
    (void)dup2(saved, descriptor);
    (void)close(saved);
  }
  ClosedDescriptor(const ClosedDescriptor&) = delete;
  ClosedDescriptor& operator=(const ClosedDescriptor&) = delete;

 private:
  int descriptor;
  int saved;
};

TEST_F(OpenFile, NeverTakesAStandardDescriptor) {
  SKIP_IF(WhyNoProc());
  const ClosedDescriptor closed(STDIN_FILENO);

  writer.WriteLine("", "line\n");

  EXPECT_THAT(DescriptorsOf(path), ElementsAre(::testing::Gt(2)));
}

// In that moment a line for standard error would land in the log file.
TEST_F(OpenFile, TakesNoStandardDescriptorForAMoment) {
  const ClosedDescriptor closed(STDIN_FILENO);
  dir.Write("app.log", "of an earlier run\n");
  int occupied = 0;
  const auto look = [&] { occupied += fcntl(STDIN_FILENO, F_GETFD) >= 0 ? 1 : 0; };
  calls.Before("open", look, 1);
  calls.Before("open", look, 2);

  writer.WriteLine("", "line\n");

  // While the file is opened, for reading and then for writing, something else
  // stands in its place.
  EXPECT_EQ(occupied, 2);
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
}

TEST_F(OpenFile, NeverTakesAStandardDescriptorEvenWhenThereIsNoPlaceholder) {
  SKIP_IF(WhyNoProc());
  const ClosedDescriptor closed(STDIN_FILENO);
  calls.FailFrom("epoll_create1", ENOMEM);

  writer.WriteLine("", "line\n");

  EXPECT_THAT(DescriptorsOf(path), ElementsAre(::testing::Gt(2)));
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

// What the program then prints as an error would land in its log file.
TEST_F(OpenFile, NeverBecomesStandardErrorEvenWhenThereIsNoPlaceholder) {
  SKIP_IF(WhyNoProc());
  const ClosedDescriptor closed(STDERR_FILENO);
  calls.FailFrom("epoll_create1", ENOMEM);

  writer.WriteLine("", "line\n");

  EXPECT_THAT(DescriptorsOf(path), ElementsAre(::testing::Gt(2)));
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

// The undefined-behaviour sanitizer, with which the address sanitizer comes, needs
// descriptors itself.
#ifndef ZIN_TEST_ADDRESS_SANITIZER
// The guard's own descriptor must be free again by the time the file needs it.
TEST_F(OpenFile, NeedsNoMoreThanOneFreeDescriptor) {
  rlimit former{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
  const int lowestFree = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
  ASSERT_GT(lowestFree, 2);
  ASSERT_EQ(close(lowestFree), 0);
  rlimit tight = former;
  tight.rlim_cur = static_cast<rlim_t>(lowestFree) + 1;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);

  writer.WriteLine("", "line\n");

  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}
#endif

}  // namespace
