#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "FakeSleep.h"
#include "ScratchDir.h"
#include "ZinLoggerPrivate.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

// The state of a retention thread, which stays parked when its test is over.
ZinLoggerPrivate& NewImmortalState() {
  static std::vector<ZinLoggerPrivate*>& all = *new std::vector<ZinLoggerPrivate*>;
  return *all.emplace_back(new ZinLoggerPrivate);
}

class DeleteDir : public ::testing::Test {
 protected:
  void Start(bool metricsChannel = false) {
    std::thread([&state = state, metricsChannel, path = dir.Path()] {
      state.DeleteDir(path.c_str(), true, metricsChannel);
    }).detach();
  }

  [[nodiscard]] bool PassIsDone() { return FakeSleep::WaitUntilEntered(++passes); }

  [[nodiscard]] bool AnotherPassIsDone() {
    FakeSleep::LetOneReturn();
    return PassIsDone();
  }

  void AddNumberedLogs(int count) {
    for (int i = 1; i <= count; ++i) dir.AddLogs({{std::to_string(1000 + i) + ".log", 100 + i}});
  }

  const ScratchDir dir;
  ZinLoggerPrivate& state = NewImmortalState();

 private:
  int passes = FakeSleep::EnteredCount();
};

TEST_F(DeleteDir, ReturnsAtOnceForANullDirectory) {
  state.DeleteDir(nullptr, true, false);

  EXPECT_EQ(FakeSleep::EnteredCount(), 0);
}

TEST_F(DeleteDir, ReturnsAtOnceAndDeletesNothingWhenItIsNotEnabled) {
  state.logLimits = {1, 0};
  dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}});

  state.DeleteDir(dir.Path().c_str(), false, false);

  EXPECT_EQ(FakeSleep::EnteredCount(), 0);
  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));
}

TEST_F(DeleteDir, TrimsAtOnceAndThenWaitsAMinute) {
  state.logLimits = {2, 10};
  dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}});

  Start();

  ASSERT_TRUE(PassIsDone());
  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
  EXPECT_EQ(FakeSleep::LatestMilliseconds(), 60000u);
}

TEST_F(DeleteDir, TrimsAgainAfterEveryWait) {
  state.logLimits = {2, 10};
  Start();
  ASSERT_TRUE(PassIsDone());

  for (int round = 0; round < 3; ++round) {
    dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}});
    ASSERT_TRUE(AnotherPassIsDone());
    EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
    EXPECT_EQ(FakeSleep::LatestMilliseconds(), 60000u);
  }
}

TEST_F(DeleteDir, ReadsTheLimitsAfreshInEveryPass) {
  dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}, {"c.log", 300, 5}, {"d.log", 400, 5}});
  Start();
  ASSERT_TRUE(PassIsDone());
  ASSERT_THAT(dir.Names(), ElementsAre("a.log", "b.log", "c.log", "d.log"));

  state.logLimits.maxFileCount = 3;
  ASSERT_TRUE(AnotherPassIsDone());
  EXPECT_THAT(dir.Names(), ElementsAre("c.log", "d.log"));

  state.logLimits.maxTotalSizeMiB = 0;
  ASSERT_TRUE(AnotherPassIsDone());
  EXPECT_THAT(dir.Names(), ElementsAre("d.log"));
}

TEST_F(DeleteDir, DoesNotNoticeThatTheChannelStops) {
  state.logLimits = {2, 10};
  state.logRunning = true;
  Start();
  ASSERT_TRUE(PassIsDone());

  state.logRunning = false;
  dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}});
  ASSERT_TRUE(AnotherPassIsDone());

  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST_F(DeleteDir, LeavesAHundredFilesToTheDefaultLimits) {
  AddNumberedLogs(100);

  Start();

  ASSERT_TRUE(PassIsDone());
  EXPECT_EQ(dir.Names().size(), 100u);
}

TEST_F(DeleteDir, RemovesTheTwoOldestOfAHundredAndOneFiles) {
  AddNumberedLogs(101);

  Start();

  ASSERT_TRUE(PassIsDone());
  const auto names = dir.Names();
  EXPECT_EQ(names.size(), 99u);
  EXPECT_EQ(names.front(), "1003.log");
}

TEST_F(DeleteDir, KeepsTenMebibytesByDefault) {
  dir.AddLogs({{"a.log", 100, MiB(5)}, {"b.log", 200, MiB(5)}});
  Start();
  ASSERT_TRUE(PassIsDone());
  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));

  dir.AddLogs({{"c.log", 300, 1}});
  ASSERT_TRUE(AnotherPassIsDone());

  EXPECT_THAT(dir.Names(), ElementsAre("b.log", "c.log"));
}

TEST_F(DeleteDir, UsesTheMetricsLimitsForTheMetricsChannel) {
  state.logLimits = {1, 0};
  dir.AddLogs({{"a.log", 100, MiB(1)}, {"b.log", 200, MiB(1)}});
  Start(true);
  ASSERT_TRUE(PassIsDone());
  // Two files and 2 MiB are what the metrics channel may have.
  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));

  dir.AddLogs({{"c.log", 300, 0}});
  ASSERT_TRUE(AnotherPassIsDone());

  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST_F(DeleteDir, UsesTheLogLimitsForTheLogChannel) {
  state.metricsLimits = {1, 0};
  dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}, {"c.log", 300, 5}});

  Start();

  ASSERT_TRUE(PassIsDone());
  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log", "c.log"));
}

TEST_F(DeleteDir, LooksAtTheFilesDirectlyInTheDirectoryOnly) {
  state.logLimits = {2, 10};
  fs::create_directory(dir / "net");
  dir.AddLogs({{"net/a.log", 1}, {"net/b.log", 2}, {"net/c.log", 3}, {"a.txt", 4}, {"b.log", 5}});

  Start();

  ASSERT_TRUE(PassIsDone());
  EXPECT_THAT(dir.Names(), ElementsAre("a.txt", "b.log", "net"));
  EXPECT_THAT(dir.Names("net"), ElementsAre("a.log", "b.log", "c.log"));
}

TEST_F(DeleteDir, GoesOnWhenTheDirectoryIsMissing) {
  state.logLimits = {0, 0};
  fs::remove(dir.Path());
  Start();
  ASSERT_TRUE(PassIsDone());

  fs::create_directory(dir.Path());
  dir.AddLogs({{"a.log", 100}, {"b.log", 200}});
  ASSERT_TRUE(AnotherPassIsDone());

  EXPECT_THAT(dir.Names(), ElementsAre("b.log"));
}

// ---- One pass -----------------------------------------------------------

TEST(RunRetentionPass, TrimsToTheNewestFileWhenNoBytesAreAllowed) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100, 1}, {"b.log", 300, 0}, {"c.log", 200, 0}});

  RunRetentionPass(dir.Path(), {100, 0});

  EXPECT_THAT(dir.Names(), ElementsAre("b.log"));
}

TEST(RunRetentionPass, KeepsEmptyFilesWhenNoBytesAreAllowed) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100}, {"b.log", 200}});

  RunRetentionPass(dir.Path(), {100, 0});

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));
}

TEST(RunRetentionPass, CountsTheLiveFileAndFilesWithNamesOfThreeBytes) {
  const ScratchDir dir;
  dir.AddLogs({{"app.log", 400}, {"app_1.log", 200}, {"abc", 100}, {"other.log", 300}});

  RunRetentionPass(dir.Path(), {3, 10});

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", "other.log"));
}

TEST(RunRetentionPass, TakesTheMaximumSizeInMebibytesBeyond32Bits) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}});

  // 4,096 MiB are 2^32 bytes, 4,294,967,295 MiB nearly 2^52.
  RunRetentionPass(dir.Path(), {100, 4096});
  RunRetentionPass(dir.Path(), {100, 4294967295u});

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));
}

TEST(RunRetentionPass, DoesNothingInAnEmptyDirectory) {
  const ScratchDir dir;

  RunRetentionPass(dir.Path(), {0, 0});

  EXPECT_THAT(dir.Names(), IsEmpty());
}

}  // namespace
