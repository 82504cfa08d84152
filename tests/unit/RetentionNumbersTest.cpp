// Counts, sizes and times at which a number of 32 bits would wrap or turn
// negative.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <limits>

#include "LogFileWriter.h"
#include "Retention.h"
#include "ScratchDir.h"
#include "ZinDir.h"

namespace {

using ::testing::ElementsAre;

constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t year2106 = std::int64_t{1} << 32;  // the first second beyond 32 bits
constexpr std::int64_t year1969 = -100;

// Not every file system takes every time.
bool Keeps(const std::string& path, std::int64_t modifyTime) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && status.st_mtim.tv_sec == modifyTime;
}

void TrimByCount(const std::vector<std::string>& files, std::uint64_t maxCount) {
  TrimDirToLimits(files, files.size(), maxCount, 0, std::numeric_limits<std::uint64_t>::max());
}

// ---- Times --------------------------------------------------------------

TEST(RetentionNumbers, HoldTimesBeyond32Bits) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"far.log", year2106 + 5}, {"a.log", 100}, {"b.log", 200}});
  if (!Keeps(files[0], year2106 + 5)) GTEST_SKIP() << "no file may be dated that late here";

  EXPECT_EQ(ZinGetFileModifyTime(files[0]), 4294967301u);
  TrimByCount(files, 2);

  EXPECT_THAT(dir.Names(), ElementsAre("far.log"));
}

// The time has no sign, so that one before the epoch is far in the future.
TEST(RetentionNumbers, TakeAFileOfBeforeTheEpochForTheNewest) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"before.log", year1969}, {"a.log", 100}, {"b.log", 200}});
  if (!Keeps(files[0], year1969)) GTEST_SKIP() << "no file may be dated that early here";

  EXPECT_EQ(ZinGetFileModifyTime(files[0]), std::numeric_limits<std::uint64_t>::max() - 99);
  TrimByCount(files, 2);

  EXPECT_THAT(dir.Names(), ElementsAre("before.log"));
}

// ---- Counts and sizes ---------------------------------------------------

TEST(RetentionNumbers, AddSizesUpBeyondFourGibibytes) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100, MiB(2048)}, {"b.log", 200, MiB(2048)}, {"c.log", 300, MiB(1)}});

  // 4,097 MiB against 4,000: 98 MiB have to go, which the oldest file holds.
  RunRetentionPass(dir.Path(), {100, 4000});

  EXPECT_THAT(dir.Names(), ElementsAre("b.log", "c.log"));
}

TEST(RetentionNumbers, TakeTheLargestLimitsForLargeOnes) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}});

  RunRetentionPass(dir.Path(), {largest, largest});

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));
}

TEST(RetentionNumbers, UseTheLow32BitsOfTheKeepCount) {
  const ScratchDir dir;
  dir.AddLogs({{"app_1.log", 100}, {"app_2.log", 200}, {"app_3.log", 300}});
  const LogFileWriter writer("app.log", dir.Path(), (std::int64_t{1} << 32) + 1, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(dir.Names(), ElementsAre("app_3.log"));
}

// ---- The byte count of an open file -------------------------------------

TEST(RetentionNumbers, HoldASizeLimitBeyondFourGibibytes) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), 1000, MiB(4096) + 2);
  writer.WriteLine("", "1");

  writer.openFiles.at("")->bytesWritten = MiB(4096);
  writer.WriteLine("", "23");
  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  writer.WriteLine("", "4");

  EXPECT_EQ(dir.Names().size(), 2u);
  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 0u);
}

}  // namespace
