#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "FailingCalls.h"
#include "ScratchDir.h"
#include "ZinLoggerPrivate.h"

namespace {

constexpr int mostCloses = 20;

// A stop is over as soon as the queue is marked: nobody waits for the files.
TEST(WorkerEnd, MarksTheQueueStoppedBeforeTheFilesAreClosed) {
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
  for (int which = 1; which <= mostCloses; ++which) {
    calls.Before(
        "close", [&] { running.push_back(state.logQueue.IsRunning()); }, which);
  }

  state.LogWorkTask("app.log", dir.Path(), 5, 1, true, worker);

  // The last two are those of the files; the others belong to their opening.
  ASSERT_GT(running.size(), 2u);
  ASSERT_LT(running.size(), std::size_t{mostCloses});
  const auto files = running.end() - 2;
  EXPECT_THAT(std::vector<bool>(running.begin(), files), testing::Each(true));
  EXPECT_THAT(std::vector<bool>(files, running.end()), testing::Each(false));
  EXPECT_EQ(dir.Read("net/app.log"), "line\n");
}

}  // namespace
