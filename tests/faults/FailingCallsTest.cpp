// Whatever another test concludes from a call that was not recorded holds only
// if the call would have been.
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "FailingCalls.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FailingCalls, NotesEveryCallAndLetsItPass) {
  const ScratchDir dir;
  const std::string a = dir / "a";
  const std::string b = dir / "b";
  const std::string d = dir / "d";
  char resolved[PATH_MAX];
  struct stat status {};
  const FailingCalls calls;

  const int descriptor = open(a.c_str(), O_WRONLY | O_CREAT, 0600);
  EXPECT_EQ(syscall(SYS_write, descriptor, "text", 4), 4);
  EXPECT_EQ(close(descriptor), 0);
  EXPECT_EQ(chmod(a.c_str(), 0640), 0);
  EXPECT_EQ(lchown(a.c_str(), geteuid(), getegid()), 0);
  EXPECT_EQ(stat(a.c_str(), &status), 0);
  EXPECT_EQ(lstat(a.c_str(), &status), 0);
  EXPECT_NE(realpath(a.c_str(), resolved), nullptr);
  EXPECT_EQ(renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_NOREPLACE), 0);
  EXPECT_EQ(std::rename(b.c_str(), a.c_str()), 0);
  EXPECT_EQ(unlink(a.c_str()), 0);
  EXPECT_EQ(std::remove(a.c_str()), -1);
  EXPECT_EQ(mkdir(d.c_str(), 0700), 0);
  DIR* const directory = opendir(d.c_str());
  EXPECT_NE(readdir(directory), nullptr);
  EXPECT_EQ(closedir(directory), 0);
  EXPECT_EQ(rmdir(d.c_str()), 0);

  const std::string user = std::to_string(geteuid()) + ":" + std::to_string(getegid());
  EXPECT_THAT(
      calls.Record(),
      ElementsAre("open " + a + " for writing 0600", "write 4", "close", "chmod " + a + " 0640",
                  "lchown " + a + " " + user, "stat " + a, "lstat " + a, "realpath " + a,
                  "renameat2 " + a + " " + b + " 1", "rename " + b + " " + a, "unlink " + a,
                  "remove " + a, "mkdir " + d + " 0700", "opendir " + d, "readdir", "closedir " + d,
                  "rmdir " + d));
}

TEST(FailingCalls, NotesLookupsPlaceholdersAndThreads) {
  passwd record{};
  passwd* found = nullptr;
  char buffer[4096];
  const FailingCalls calls;

  EXPECT_EQ(getpwnam_r("root", &record, buffer, sizeof buffer, &found), 0);
  EXPECT_NE(found, nullptr);
  const int placeholder = epoll_create1(EPOLL_CLOEXEC);
  EXPECT_EQ(close(placeholder), 0);
  std::thread([] {}).join();

  EXPECT_THAT(calls.Record(), ElementsAre("getpwnam_r root", "epoll_create1", "close", "thread"));
}

TEST(FailingCalls, FailsTheCallThatIsAskedFor) {
  const ScratchDir dir;
  FailingCalls calls;
  calls.Fail("mkdir", EDQUOT, 2);

  EXPECT_EQ(mkdir((dir / "a").c_str(), 0700), 0);
  EXPECT_EQ(mkdir((dir / "b").c_str(), 0700), -1);
  EXPECT_EQ(errno, EDQUOT);
  EXPECT_EQ(mkdir((dir / "c").c_str(), 0700), 0);

  EXPECT_THAT(dir.Names(), ElementsAre("a", "c"));
}

TEST(FailingCalls, FailsACallAndAllAfterIt) {
  const ScratchDir dir;
  FailingCalls calls;
  calls.FailFrom("mkdir", EROFS, 2);

  EXPECT_EQ(mkdir((dir / "a").c_str(), 0700), 0);
  EXPECT_EQ(mkdir((dir / "b").c_str(), 0700), -1);
  EXPECT_EQ(mkdir((dir / "c").c_str(), 0700), -1);
}

TEST(FailingCalls, RunsAnActionBeforeACall) {
  const ScratchDir dir;
  FailingCalls calls;
  calls.Before(
      "mkdir", [&] { dir.Write("b", "in the way"); }, 2);

  EXPECT_EQ(mkdir((dir / "a").c_str(), 0700), 0);
  EXPECT_FALSE(dir.Has("b"));
  EXPECT_EQ(mkdir((dir / "b").c_str(), 0700), -1);
  EXPECT_EQ(errno, EEXIST);
}

TEST(FailingCalls, FailsTheStartOfAThread) {
  FailingCalls calls;
  calls.Fail("thread", EAGAIN);

  EXPECT_THROW(std::thread([] {}), std::system_error);
}

TEST(FailingCalls, RefusesANameThatIsNotWrapped) {
  FailingCalls calls;

  EXPECT_THROW(calls.Fail("fsync", EIO), std::invalid_argument);
}

TEST(FailingCalls, LeavesNothingBehind) {
  const ScratchDir dir;
  {
    FailingCalls calls;
    calls.FailFrom("mkdir", EROFS);
  }

  EXPECT_EQ(mkdir((dir / "a").c_str(), 0700), 0);
  EXPECT_THAT(FailingCalls().Record(), IsEmpty());
}

}  // namespace
