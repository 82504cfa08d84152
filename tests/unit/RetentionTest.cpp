#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>

#include "LogFileWriter.h"
#include "Retention.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
namespace fs = std::filesystem;

constexpr std::uint64_t noByteLimit = std::numeric_limits<std::uint64_t>::max();

std::uint64_t Total(const std::vector<std::string>& files) {
  std::uint64_t total = 0;
  for (const std::string& path : files) total += fs::file_size(path);
  return total;
}

void TrimByCount(const std::vector<std::string>& files, std::uint64_t maxCount) {
  TrimDirToLimits(files, files.size(), maxCount, Total(files), noByteLimit);
}

void TrimBySize(const std::vector<std::string>& files, std::uint64_t maxBytes) {
  TrimDirToLimits(files, files.size(), files.size(), Total(files), maxBytes);
}

// ---- Trimming by count --------------------------------------------------

TEST(TrimDirToLimits, DeletesNothingWhenTheCountEqualsTheMaximum) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}});

  TrimByCount(files, 3);

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log", "c.log"));
}

TEST(TrimDirToLimits, OneFileOverTheCountRemovesTheTwoOldest) {
  const ScratchDir dir;
  const auto files = dir.AddLogs(
      {{"newest.log", 400}, {"oldest.log", 100}, {"older.log", 200}, {"newer.log", 300}});

  TrimByCount(files, 3);

  // 4 - 3 + 1: maxCount - 1 files stay, which leaves room for the next one.
  EXPECT_THAT(dir.Names(), ElementsAre("newer.log", "newest.log"));
}

// What exceeds one limit must not be deleted as if it exceeded the other, too:
// that asks for a spare MiB, and small files would all go.
TEST(TrimDirToLimits, DeletesNoMoreForASizeThatEqualsItsLimit) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}, {"d.log", 400}, {"e.log", 500}});

  TrimDirToLimits(files, files.size(), /*maxCount=*/4, /*totalBytes=*/1000, /*maxBytes=*/1000);

  // 5 - 4 + 1 go.
  EXPECT_THAT(dir.Names(), ElementsAre("c.log", "d.log", "e.log"));
}

// A comparison that calls equal times older leads a sort out of its range.
TEST(TrimDirToLimits, TakesManyFilesOfOneSecond) {
  const ScratchDir dir;
  std::vector<ScratchDir::LogFile> dated;
  for (int i = 0; i < 200; ++i) dated.push_back({std::to_string(i).append(".log"), 100});
  const auto files = dir.AddLogs(dated);

  TrimByCount(files, 150);

  // 200 - 150 + 1 go.
  EXPECT_EQ(dir.Names().size(), 149u);
}

TEST(TrimDirToLimits, GoesByTimeAndNotByName) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 400}, {"b.log", 300}, {"c.log", 200}, {"d.log", 100}});

  TrimByCount(files, 3);

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));
}

TEST(TrimDirToLimits, KeepsTheNewestFileWhenTheMaximumCountIsZero) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100}, {"b.log", 300}, {"c.log", 200}});

  TrimByCount(files, 0);

  EXPECT_THAT(dir.Names(), ElementsAre("b.log"));
}

TEST(TrimDirToLimits, NeverTrimsASingleFile) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"huge.log", 100, MiB(50)}});

  TrimDirToLimits(files, /*fileCount=*/7, /*maxCount=*/0, MiB(50), /*maxBytes=*/0);

  EXPECT_THAT(dir.Names(), ElementsAre("huge.log"));
}

TEST(TrimDirToLimits, DeletesNothingForAnEmptyList) {
  const ScratchDir dir;
  dir.Write("bystander.log", "text");

  TrimDirToLimits({}, /*fileCount=*/5, /*maxCount=*/0, /*totalBytes=*/1, /*maxBytes=*/0);

  EXPECT_THAT(dir.Names(), ElementsAre("bystander.log"));
}

TEST(TrimDirToLimits, CountsFilesThatHaveVanishedSinceTheListing) {
  const ScratchDir dir;
  auto files = dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}});
  files.push_back(dir / "vanished.log");

  TrimDirToLimits(files, /*fileCount=*/4, /*maxCount=*/3, /*totalBytes=*/0, noByteLimit);

  // 4 - 3 + 1 of the three that still exist.
  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(TrimDirToLimits, StopsBeforeTheNewestWhenTheCountExceedsTheList) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}});

  // 10 - 5 + 1 = 6 are wanted, and there are only three.
  TrimDirToLimits(files, /*fileCount=*/10, /*maxCount=*/5, /*totalBytes=*/0, noByteLimit);

  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(TrimDirToLimits, NeverDeletesFilesOfTheEpochButCountsThem) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"epoch.log", 0}, {"a.log", 100}, {"b.log", 200}, {"c.log", 300}});

  TrimByCount(files, 3);

  // Without the epoch's file the count would equal the maximum.
  EXPECT_THAT(dir.Names(), ElementsAre("c.log", "epoch.log"));
}

TEST(TrimDirToLimits, LeavesASingleDatedFileBesideFilesOfTheEpoch) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"epoch.log", 0}, {"old-epoch.log", 0}, {"a.log", 100}});

  TrimByCount(files, 0);

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "epoch.log", "old-epoch.log"));
}

// As after a burst: many rotations within one second of the file system's clock.
TEST(TrimDirToLimits, TrimsFilesOfOneSecondByTheirNumber) {
  const ScratchDir dir;
  std::vector<ScratchDir::LogFile> burst;
  for (int i = 10; i < 20; ++i) burst.push_back({"app_" + std::to_string(i) + ".log", 500});
  const auto files = dir.AddLogs(burst);

  TrimByCount(files, 6);

  // 10 - 6 + 1 of them go.
  EXPECT_THAT(dir.Names(), SizeIs(5));
}

TEST(TrimDirToLimits, TrimsFilesOfOneSecondByTheirSize) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 500, MiB(1)},
                                  {"b.log", 500, MiB(1)},
                                  {"c.log", 500, MiB(1)},
                                  {"d.log", 500, MiB(1)},
                                  {"e.log", 500, MiB(1)}});

  TrimBySize(files, MiB(3));

  // 5 - 3 MiB and a spare one go.
  EXPECT_THAT(dir.Names(), SizeIs(2));
}

// ---- Trimming by size ---------------------------------------------------

TEST(TrimDirToLimits, DeletesNothingWhenTheTotalEqualsTheMaximum) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100, MiB(2)}, {"b.log", 200, MiB(2)}});

  TrimBySize(files, MiB(4));

  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "b.log"));
}

TEST(TrimDirToLimits, OneByteTooManyFreesOneMebibyteAndThatByte) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"a.log", 100, 1048577}, {"b.log", 200, 10}, {"c.log", 300, MiB(3)}});

  TrimBySize(files, Total(files) - 1);

  EXPECT_THAT(dir.Names(), ElementsAre("b.log", "c.log"));
}

TEST(TrimDirToLimits, OneMebibyteIsNotEnoughWhenOneByteMoreIsTooMany) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"a.log", 100, 1048576}, {"b.log", 200, 1}, {"c.log", 300, MiB(3)}});

  TrimBySize(files, Total(files) - 1);

  // 1,048,577 bytes are to go: the second file brings the missing byte.
  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(TrimDirToLimits, WalksFromTheOldestUntilEnoughIsFreed) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"e.log", 500, MiB(4)},
                                  {"d.log", 400, MiB(1)},
                                  {"c.log", 300, MiB(1)},
                                  {"b.log", 200, MiB(1)},
                                  {"a.log", 100, MiB(1)}});

  // 8 MiB against 6 MiB: 2 MiB and one more have to go.
  TrimBySize(files, MiB(6));

  EXPECT_THAT(dir.Names(), ElementsAre("d.log", "e.log"));
}

TEST(TrimDirToLimits, KeepsTheNewestFileHoweverLargeItIs) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}, {"c.log", 300, MiB(9)}});

  TrimBySize(files, MiB(1));

  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(TrimDirToLimits, TrimsToTheNewestFileWhenTheMaximumSizeIsZero) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100, 1}, {"b.log", 200, 1}, {"c.log", 300, 1}});

  TrimBySize(files, 0);

  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(TrimDirToLimits, ExaminesTheSizesAgain) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"a.log", 100, MiB(1)}, {"b.log", 200, MiB(1)}, {"c.log", 300, MiB(1)}});

  // The total was 7 MiB when it was summed up: 7 - 6 + 1 = 2 MiB have to go.
  TrimDirToLimits(files, 3, 3, MiB(7), MiB(6));

  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(TrimDirToLimits, ComputesBeyondFourGibibytes) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"a.log", 100, MiB(3072)}, {"b.log", 200, MiB(3072)}, {"c.log", 300, MiB(10)}});

  // 6,154 MiB against 4,000: 2,155 MiB have to go, which the oldest file holds.
  TrimBySize(files, MiB(4000));

  EXPECT_THAT(dir.Names(), ElementsAre("b.log", "c.log"));
}

TEST(TrimDirToLimits, DeletesAsManyAsTheStricterLimitAsks) {
  const ScratchDir bySize;
  auto files = bySize.AddLogs({{"a.log", 1, 10}, {"b.log", 2, 10}, {"c.log", 3, 10}, {"d.log", 4}});
  // By count 4 - 3 + 1 = 2; by size all that can go.
  TrimDirToLimits(files, 4, 3, 30, 29);
  EXPECT_THAT(bySize.Names(), ElementsAre("d.log"));

  const ScratchDir byCount;
  files = byCount.AddLogs({{"a.log", 1, MiB(2)}, {"b.log", 2}, {"c.log", 3}, {"d.log", 4}});
  // By size one; by count 4 - 3 + 1 = 2.
  TrimDirToLimits(files, 4, 3, MiB(2), MiB(2) - 1);
  EXPECT_THAT(byCount.Names(), ElementsAre("c.log", "d.log"));
}

TEST(TrimDirToLimits, PromisesNoOrderWithinASecondButKeepsTheNewest) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"twin-1.log", 100, MiB(2)}, {"twin-2.log", 100, MiB(2)}, {"z.log", 200, 1}});

  // One byte too many: either of the twins is enough.
  TrimBySize(files, MiB(4));

  EXPECT_TRUE(dir.Has("z.log"));
  EXPECT_NE(dir.Has("twin-1.log"), dir.Has("twin-2.log"));
}

// All of one second, in whichever order the directory lists them.
std::vector<std::string> NamesLeftOfOneSecond(const std::string& live, std::uint64_t maxCount,
                                              bool listsLiveFirst) {
  const ScratchDir dir;
  std::vector<std::string> names = {
      "app_20260105090307042-000-4711.log", "app_20260105090307042-001-4711.log",
      "app_20260105090307043-000-4711.log", "app_20260105090307100-000-4711.log"};
  names.insert(listsLiveFirst ? names.begin() : names.end(), live);
  std::vector<std::string> files;
  for (const std::string& name : names) files.push_back(dir.AddLogs({{name, 100, 1}}).front());

  TrimDirToLimits(files, files.size(), maxCount, 0, MiB(1));

  return dir.Names();
}

TEST(TrimDirToLimits, LetsTheLiveFileLiveWhenABurstRotatedWithinItsSecond) {
  // The last ones look like rotated names at first sight.
  for (const std::string live :
       {"app.log", "abc", "service_2026-001-4711.log", "9.log",
        "app-20260105090307042-000-4711.log", "app-000-4711.log", "app_20260105090307042-000-.log",
        "app_-000-4711.log", "app_2026010509030704:-000-4711.log"}) {
    EXPECT_THAT(NamesLeftOfOneSecond(live, 2, true), ElementsAre(live));
    EXPECT_THAT(NamesLeftOfOneSecond(live, 2, false), ElementsAre(live));
  }
}

TEST(TrimDirToLimits, LetsTheNewestRotatedNamesOfASecondLive) {
  for (const bool listsLiveFirst : {true, false}) {
    EXPECT_THAT(NamesLeftOfOneSecond("app.log", 4, listsLiveFirst),
                ElementsAre("app.log", "app_20260105090307043-000-4711.log",
                            "app_20260105090307100-000-4711.log"));
  }
}

// As in a container, whose first process has the number 1.
TEST(TrimDirToLimits, LetsTheLiveFileLiveWhenTheProcessIdHasOneDigit) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"app_20260105090307042-000-1.log", 100},
                                  {"app_20260105090307043-000-1.log", 100},
                                  {"app.log", 100}});

  TrimDirToLimits(files, 3, 2, 0, MiB(1));

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST(TrimDirToLimits, GoesByTimeBeforeItGoesByName) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"app.log", 100}, {"app_20260105090307042-000-4711.log", 101}});

  TrimDirToLimits(files, 2, 1, 0, MiB(1));

  EXPECT_THAT(dir.Names(), ElementsAre("app_20260105090307042-000-4711.log"));
}

// ---- Excess rotated files -----------------------------------------------

std::vector<std::string> NamesAfterRemovingExcess(std::int64_t keepCount, int rotatedFiles) {
  const ScratchDir dir;
  dir.Write("app.log", "live");
  for (int i = 1; i <= rotatedFiles; ++i) dir.Write("app_" + std::to_string(i) + ".log", "");
  const LogFileWriter writer("app.log", dir.Path(), keepCount, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  return dir.Names();
}

TEST(RemoveExcessRotatedFiles, RemovesTheThreeOldestOfEightWhenFiveAreKept) {
  EXPECT_THAT(NamesAfterRemovingExcess(5, 8), ElementsAre("app.log", "app_4.log", "app_5.log",
                                                          "app_6.log", "app_7.log", "app_8.log"));
}

TEST(RemoveExcessRotatedFiles, RemovesNoneWhenThereAreAsManyAsAreKept) {
  EXPECT_THAT(NamesAfterRemovingExcess(5, 5), ElementsAre("app.log", "app_1.log", "app_2.log",
                                                          "app_3.log", "app_4.log", "app_5.log"));
  EXPECT_THAT(NamesAfterRemovingExcess(5, 1), ElementsAre("app.log", "app_1.log"));
}

TEST(RemoveExcessRotatedFiles, LeavesTheLiveFileAloneWhenNoneIsKept) {
  EXPECT_THAT(NamesAfterRemovingExcess(0, 3), ElementsAre("app.log"));
}

TEST(RemoveExcessRotatedFiles, RemovesAllForANegativeKeepCount) {
  EXPECT_THAT(NamesAfterRemovingExcess(-1, 3), ElementsAre("app.log"));
  EXPECT_THAT(NamesAfterRemovingExcess(-1000, 3), ElementsAre("app.log"));
  EXPECT_THAT(NamesAfterRemovingExcess(-1, 0), ElementsAre("app.log"));
}

TEST(RemoveExcessRotatedFiles, WrapsAroundAndKeepsAllForAKeepCountFarBelowZero) {
  constexpr std::int64_t lowest = std::numeric_limits<std::int32_t>::min();

  // 3 + 2^31 is negative in 32 bits.
  EXPECT_THAT(NamesAfterRemovingExcess(lowest, 3),
              ElementsAre("app.log", "app_1.log", "app_2.log", "app_3.log"));
  // 3 + (2^31 - 4) is the largest positive number, 4 + (2^31 - 4) wraps.
  EXPECT_THAT(NamesAfterRemovingExcess(lowest + 4, 3), ElementsAre("app.log"));
  EXPECT_THAT(NamesAfterRemovingExcess(lowest + 4, 4),
              ElementsAre("app.log", "app_1.log", "app_2.log", "app_3.log", "app_4.log"));
}

TEST(RemoveExcessRotatedFiles, GoesByNameAndNotByTime) {
  const ScratchDir dir;
  dir.AddLogs({{"app_1.log", 300}, {"app_2.log", 100}, {"app_3.log", 200}});
  const LogFileWriter writer("app.log", dir.Path(), 1, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(dir.Names(), ElementsAre("app_3.log"));
}

TEST(RemoveExcessRotatedFiles, WorksInTheSubDirectoryOfTheKey) {
  const ScratchDir dir;
  fs::create_directory(dir / "net");
  for (const char* const name : {"app_1.log", "app_2.log", "net/app_1.log", "net/app_2.log"}) {
    dir.Write(name, "");
  }
  const LogFileWriter writer("app.log", dir.Path(), 1, MiB(1));

  RemoveExcessRotatedFiles(writer, "net");

  EXPECT_THAT(dir.Names("net"), ElementsAre("app_2.log"));
  EXPECT_THAT(dir.Names(), ElementsAre("app_1.log", "app_2.log", "net"));
}

TEST(RemoveExcessRotatedFiles, WorksInTheWritersDirectoryForAnEmptyKey) {
  const ScratchDir dir;
  fs::create_directory(dir / "net");
  for (const char* const name : {"app_1.log", "app_2.log", "net/app_1.log", "net/app_2.log"}) {
    dir.Write(name, "");
  }
  const LogFileWriter writer("app.log", dir.Path(), 1, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(dir.Names(), ElementsAre("app_2.log", "net"));
  EXPECT_THAT(dir.Names("net"), ElementsAre("app_1.log", "app_2.log"));
}

TEST(RemoveExcessRotatedFiles, CountsEveryNameThatBeginsWithTheStem) {
  const ScratchDir dir;
  for (const char* const name : {"app_1.log", "app_2.log", "application.log"}) dir.Write(name, "");
  const LogFileWriter writer("app.log", dir.Path(), 2, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(dir.Names(), ElementsAre("app_2.log", "application.log"));
}

TEST(RemoveExcessRotatedFiles, DoesNothingInAMissingDirectory) {
  const ScratchDir dir;
  const LogFileWriter writer("app.log", dir / "missing", 0, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(dir.Names(), IsEmpty());
}

}  // namespace
