#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "FailingCalls.h"
#include "ScratchDir.h"
#include "WaitUntilTrue.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

namespace {

constexpr int mostCalls = 20;  // more than a test makes

// A stop is over as soon as the queue is marked: nobody waits for the files.
TEST(LogWorkTask, MarksTheQueueStoppedBeforeTheFilesAreClosed) {
  const ScratchDir dir;
  FailingCalls calls;
  calls.UseNoAccount();
  ZinLoggerPrivate state;
  state.logQueue.SetCapacity(10);
  const auto worker = state.logQueue.Start();
  state.logQueue.Push("", "line\n");
  state.logQueue.Push("net", "line\n");
  state.logQueue.PushExitMarker();
  std::vector<bool> running;  // at each close
  for (int which = 1; which <= mostCalls; ++which) {
    calls.Before(
        "close", [&] { running.push_back(state.logQueue.IsRunning()); }, which);
  }

  state.LogWorkTask("app.log", dir.Path(), 5, 1, true, worker);

  // The last two are those of the files; the others belong to their opening.
  ASSERT_GT(running.size(), 2u);
  ASSERT_LT(running.size(), std::size_t{mostCalls});
  const auto files = running.end() - 2;
  EXPECT_THAT(std::vector<bool>(running.begin(), files), testing::Each(true));
  EXPECT_THAT(std::vector<bool>(files, running.end()), testing::Each(false));
  EXPECT_EQ(dir.Read("net/app.log"), "line\n");
}

// Of one line of the program's: the first file is about to hold it when the line
// about that file is logged, which goes past the size, too, and so on.
TEST(LogWorkTask, NeedsOneFileMoreForTheLineAboutEachFileAtASizeOf0) {
  const ScratchDir dir;
  FailingCalls calls;
  calls.UseAccount(54321, 54322);
  ZinLogger& logger = *ZinLogger::GetInstance();
  ASSERT_TRUE(logger.StartSystem("app.log", dir.Path().c_str(), 1000, 0, INFO, 1000, true));
  logger.Log("file.cpp", 1, "function", " ", "", INFO, "alone");

  EXPECT_TRUE(WaitUntilTrue([&] { return dir.Names().size() >= 10; }));
  logger.StopSystem();

  EXPECT_NE(dir.Read(dir.Names()[1]).find("alone"), std::string::npos);
  EXPECT_NE(dir.Read(dir.Names()[2]).find("Failed open dir,path="), std::string::npos);
}

// 2 GiB is where a number of bytes that was kept in 32 bits with a sign turns
// negative. No disk is needed: failed writes count, and the queue holds a line
// that equals the one before it in a few bytes.
TEST(SlowLogWorkTask, RotatesPastTwoGiBAtASizeOf2048) {
  constexpr int linesOfTwoGiB = 2048;
  const ScratchDir dir;
  FailingCalls calls;
  calls.UseNoAccount();
  calls.FailFrom("write", ENOSPC);
  ZinLoggerPrivate state;
  state.logQueue.SetCapacity(10000);
  const auto worker = state.logQueue.Start();
  const std::string line(MiB(2048) / linesOfTwoGiB, 'x');
  for (int i = 0; i < linesOfTwoGiB; ++i) state.logQueue.Push("", line);
  state.logQueue.Push("net", "x");
  state.logQueue.Push("", "x");
  state.logQueue.PushExitMarker();
  std::vector<std::size_t> moved;  // at each opening: how many files were moved aside by then
  for (int which = 1; which <= mostCalls; ++which) {
    calls.Before(
        "chmod", [&] { moved.push_back(calls.Of({"renameat2"}).size()); }, which);
  }

  state.LogWorkTask("app.log", dir.Path(), 5, 2048, true, worker);

  // The first file, that of the other key, and the file after the rotation.
  EXPECT_THAT(moved, testing::ElementsAre(0u, 0u, 1u));
}

}  // namespace
