#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <map>

#include "LogFileWriter.h"
#include "OpenDescriptors.h"
#include "ProcessSettings.h"
#include "Retention.h"
#include "ScratchDir.h"
#include "Surroundings.h"
#include "ZinDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
namespace fs = std::filesystem;

constexpr std::int64_t keepAll = 1000;

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
std::string Rotated(const std::string& sequence) {
  return "app_20260105090307042-" + sequence + "-4711.log";
}

// ---- Directory ----------------------------------------------------------

TEST(LogFileWriter, TakesTheEmptyDirectoryForTheRoot) {
  const ScratchDir dir;
  const ScopedWorkingDirectory notTheRoot(dir.Path());
  LogFileWriter writer("app.log", "", keepAll, MiB(1));

  // From the root, the scratch directory is a sub-directory.
  writer.WriteLine(dir.Path().substr(1), "line\n");

  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

TEST(LogFileWriter, RemovesNothingFromTheEmptyDirectory) {
  const ScratchDir dir;
  const ScopedWorkingDirectory inside(dir.Path());
  dir.Write(Rotated("000"), "old\n");
  const LogFileWriter writer("app.log", "", /*keepCount=*/0, MiB(1));

  RemoveExcessRotatedFiles(writer, "");

  // Not even from the working directory: "" is none to the system.
  EXPECT_THAT(dir.Names(), ElementsAre(Rotated("000")));
  EXPECT_THAT(ZinListLogFiles(""), IsEmpty());
}

TEST(LogFileWriter, LooksForARelativeDirectoryWhereTheProcessIsByThen) {
  const ScratchDir dir;
  fs::create_directory(dir / "elsewhere");
  LogFileWriter writer("app.log", "logs", keepAll, 4);
  const ScopedWorkingDirectory before(dir.Path());
  writer.WriteLine("", "one\n");

  const ScopedWorkingDirectory after(dir / "elsewhere");
  writer.WriteLine("", "two\n");
  writer.WriteLine("", "three\n");

  EXPECT_EQ(dir.Read("logs/app.log"), "one\ntwo\n");
  EXPECT_EQ(dir.Read("elsewhere/logs/app.log"), "");
}

// ---- Opening ------------------------------------------------------------

TEST(LogFileWriter, OpensNothingBeforeTheFirstLine) {
  const ScratchDir dir;

  { const LogFileWriter writer("app.log", dir / "log", keepAll, MiB(1)); }

  EXPECT_THAT(dir.Names(), IsEmpty());
}

TEST(LogFileWriter, CreatesDirectoryAndFileForTheFirstLine) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir / "a/log", keepAll, MiB(1));

  writer.WriteLine("", "first\n");

  EXPECT_EQ(dir.Read("a/log/app.log"), "first\n");
}

TEST(LogFileWriter, KeepsOneFileOpenForAllLines) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  for (int i = 0; i < 100; ++i) writer.WriteLine("", "line\n");

  EXPECT_THAT(DescriptorsOf(dir / "app.log"), SizeIs(1));
  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST(LogFileWriter, ClosesAllFilesWhenItGoes) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const long before = OpenDescriptorCount();
  {
    LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));
    for (const char* const key : {"", "net", "db"}) writer.WriteLine(key, "line\n");
    ASSERT_EQ(OpenDescriptorCount(), before + 3);
  }

  EXPECT_EQ(OpenDescriptorCount(), before);
}

TEST(LogFileWriter, ClosesItsFilesInTheOrderOfTheirKeys) {
  const ScratchDir dir;
  const int events = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  std::map<int, std::string> keyOfWatch;
  {
    LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));
    for (const std::string key : {"d", "b", "", "e", "a", "c"}) {
      writer.WriteLine(key, "line\n");
      const std::string path = dir / (key + "/app.log");
      keyOfWatch[inotify_add_watch(events, path.c_str(), IN_CLOSE_WRITE)] = key;
    }
  }

  std::vector<std::string> closed;
  inotify_event event{};
  while (read(events, &event, sizeof event) == sizeof event) closed.push_back(keyOfWatch[event.wd]);
  (void)close(events);
  EXPECT_THAT(closed, ElementsAre("", "a", "b", "c", "d", "e"));
}

TEST(LogFileWriter, KeepsItsFilesFromAProgramItStarts) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("", "line\n");

  const auto descriptors = DescriptorsOf(dir / "app.log");
  ASSERT_THAT(descriptors, SizeIs(1));
  EXPECT_EQ(fcntl(descriptors[0], F_GETFD), FD_CLOEXEC);
}

TEST(LogFileWriter, DoublesTheSeparatorOfADirectoryThatEndsInOne) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path() + "/", keepAll, 0);

  writer.WriteLine("", "line\n");

  EXPECT_EQ(writer.DirectoryOf(""), dir.Path() + "/");
  EXPECT_EQ(writer.DirectoryOf("net"), dir.Path() + "//net");
  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
}

// ---- Lines --------------------------------------------------------------

TEST(LogFileWriter, WritesLinesAsTheyStand) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("", "without newline");
  writer.WriteLine("", "with newline\n");

  EXPECT_EQ(dir.Read("app.log"), "without newlinewith newline\n");
}

TEST(LogFileWriter, FlushesEveryLine) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("", "one\n");
  EXPECT_EQ(dir.Read("app.log"), "one\n");
  writer.WriteLine("", "two\n");
  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\n");
}

TEST(LogFileWriter, CountsTheBytesOfEveryLine) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("", "12345");
  writer.WriteLine("", "");
  writer.WriteLine("", std::string("\0\0", 2));

  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 7u);
}

// ---- Size limit ---------------------------------------------------------

TEST(LogFileWriter, DoesNotRotateWhenTheCountEqualsTheLimit) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 10);

  writer.WriteLine("", "12345");
  writer.WriteLine("", "67890");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST(LogFileWriter, RotatesWhenTheCountIsOneByteAboveTheLimit) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 10);

  writer.WriteLine("", "12345");
  writer.WriteLine("", "678901");

  EXPECT_EQ(dir.Read(Rotated("000")), "12345678901");
  EXPECT_EQ(dir.Read("app.log"), "");
}

TEST(LogFileWriter, WritesTheLineThatCrossesTheLimitWholeIntoTheOldFile) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 10);

  writer.WriteLine("", "below\n");
  writer.WriteLine("", "a line far beyond the limit\n");
  writer.WriteLine("", "next\n");

  EXPECT_EQ(dir.Read(Rotated("000")), "below\na line far beyond the limit\n");
  EXPECT_EQ(dir.Read("app.log"), "next\n");
}

TEST(LogFileWriter, PutsEveryLineIntoAFileOfItsOwnWhenTheLimitIsZero) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 0);

  for (const char* const line : {"one\n", "two\n", "three\n"}) writer.WriteLine("", line);

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000"), Rotated("001"), Rotated("002")));
  EXPECT_EQ(dir.Read(Rotated("000")), "one\n");
  EXPECT_EQ(dir.Read(Rotated("001")), "two\n");
  EXPECT_EQ(dir.Read(Rotated("002")), "three\n");
  EXPECT_EQ(dir.Read("app.log"), "");
}

// The stamp adds "_20260105090307042-000-4711" to a name, 27 bytes; with process
// ids of seven digits it is 30.
TEST(LogFileWriter, EmptiesAFileWhoseNameLeavesNoRoomForTheStamp) {
  constexpr std::size_t longestName = NAME_MAX - 27;
  for (const std::size_t length : {longestName, longestName + 1}) {
    const ScratchDir dir;
    const std::string stem(length - 4, 'n');
    LogFileWriter writer(stem + ".log", dir.Path(), keepAll, 4);

    for (const char* const line : {"one\n", "two\n", "new\n"}) writer.WriteLine("", line);

    EXPECT_EQ(dir.Read(stem + ".log"), "new\n");
    EXPECT_THAT(dir.Names(), SizeIs(length == longestName ? 2 : 1)) << length;
  }
}

TEST(LogFileWriter, CountsFromZeroInTheNewFile) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 10);

  writer.WriteLine("", "12345678901");
  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 0u);
  writer.WriteLine("", "1234567890");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
}

TEST(LogFileWriter, ClosesTheFilesItRotates) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 0);
  writer.WriteLine("", "line\n");
  const long before = OpenDescriptorCount();

  for (int i = 0; i < 50; ++i) writer.WriteLine("", "line\n");

  EXPECT_EQ(OpenDescriptorCount(), before);
  EXPECT_THAT(DescriptorsOf(dir / Rotated("000")), IsEmpty());
}

TEST(LogFileWriter, KeepsAsManyRotatedFilesAsItWasTold) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), /*keepCount=*/2, 0);

  for (const char* const line : {"1", "2", "3", "4", "5"}) writer.WriteLine("", line);

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("003"), Rotated("004")));
}

TEST(LogFileWriter, KeepsTheLiveFileAloneForAKeepCountOfZeroOrLess) {
  const ScratchDir dir;
  for (const std::int64_t keepCount : {0, -1}) {
    LogFileWriter writer("app.log", dir.Path(), keepCount, 4);

    writer.WriteLine("", "12345");
    writer.WriteLine("", "abc");

    EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
    EXPECT_EQ(dir.Read("app.log"), "abc");
    fs::remove(dir / "app.log");
  }
}

// ---- Sub-directories ----------------------------------------------------

TEST(LogFileWriter, WritesTwoSubDirectoriesIntoTwoFilesOfTheSameName) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("net", "to net\n");
  writer.WriteLine("db/inner", "to db\n");
  writer.WriteLine("", "to the directory itself\n");

  EXPECT_EQ(dir.Read("net/app.log"), "to net\n");
  EXPECT_EQ(dir.Read("db/inner/app.log"), "to db\n");
  EXPECT_EQ(dir.Read("app.log"), "to the directory itself\n");
}

TEST(LogFileWriter, CountsEverySubDirectoryByItself) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, 10);

  for (const char* const key : {"net", "db", "net"}) writer.WriteLine(key, "123456");

  EXPECT_THAT(dir.Names("net"), ElementsAre("app.log", Rotated("000")));
  EXPECT_THAT(dir.Names("db"), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("db/app.log"), "123456");
}

TEST(LogFileWriter, RemovesExcessFilesOfTheRotatedSubDirectoryAlone) {
  const ScratchDir dir;
  fs::create_directory(dir / "net");
  fs::create_directory(dir / "db");
  for (const char* const name : {"app_1.log", "net/app_1.log", "db/app_1.log"}) dir.Write(name, "");
  LogFileWriter writer("app.log", dir.Path(), /*keepCount=*/0, 0);

  writer.WriteLine("net", "line\n");

  EXPECT_THAT(dir.Names("net"), ElementsAre("app.log"));
  EXPECT_THAT(dir.Names("db"), ElementsAre("app_1.log"));
  EXPECT_THAT(dir.Names(), ElementsAre("app_1.log", "db", "net"));
}

// ---- Files of an earlier run --------------------------------------------

TEST(LogFileWriter, RotatesAFileOfAnEarlierRunAwayForTheFirstLine) {
  const ScratchDir dir;
  dir.Write("app.log", "of the earlier run\n");
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("", "of this run\n");

  EXPECT_EQ(dir.Read(Rotated("000")), "of the earlier run\n");
  EXPECT_EQ(dir.Read("app.log"), "of this run\n");
}

TEST(LogFileWriter, RotatesAnEmptyFileOfAnEarlierRunToo) {
  const ScratchDir dir;
  dir.Write("app.log", "");
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));

  writer.WriteLine("", "of this run\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
}

TEST(LogFileWriter, DoesNotCountTheBytesOfAnEarlierRun) {
  const ScratchDir dir;
  dir.Write("app.log", "far more than ten bytes");
  LogFileWriter writer("app.log", dir.Path(), keepAll, 10);

  writer.WriteLine("", "12345");

  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 5u);
  EXPECT_EQ(dir.Read("app.log"), "12345");
}

TEST(LogFileWriter, RemovesNoExcessFilesAtTheFirstLine) {
  const ScratchDir dir;
  for (const char* const name : {"app_1.log", "app_2.log", "app.log"}) dir.Write(name, "");
  LogFileWriter writer("app.log", dir.Path(), /*keepCount=*/1, 10);

  writer.WriteLine("", "12345");
  // Only growing past the limit does that.
  EXPECT_THAT(dir.Names(), ElementsAre("app.log", "app_1.log", "app_2.log", Rotated("000")));
  writer.WriteLine("", "678901");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("001")));
}

TEST(LogFileWriter, OverwritesNoFileOfARunInTheSameMillisecond) {
  const ScratchDir dir;
  for (const char* const line : {"run 1\n", "run 2\n", "run 3\n"}) {
    LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));
    writer.WriteLine("", line);
  }

  EXPECT_EQ(dir.Read(Rotated("000")), "run 1\n");
  EXPECT_EQ(dir.Read(Rotated("001")), "run 2\n");
  EXPECT_EQ(dir.Read("app.log"), "run 3\n");
}

// ---- Entries that are missing -------------------------------------------

TEST(LogFileWriter, DropsALineWhoseDirectoryCannotBeMadeAndTriesTheNextAfresh) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  dir.Write("log", "a file in the way");
  LogFileWriter writer("app.log", dir / "log", keepAll, MiB(1));
  const long before = OpenDescriptorCount();

  writer.WriteLine("", "lost\n");
  EXPECT_THAT(writer.openFiles, IsEmpty());
  EXPECT_EQ(OpenDescriptorCount(), before);

  fs::remove(dir / "log");
  writer.WriteLine("", "kept\n");
  EXPECT_EQ(dir.Read("log/app.log"), "kept\n");
}

TEST(LogFileWriter, DropsTheLineAndTheEntryWhenTheEntryHasNoStream) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));
  writer.openFiles["net"] = std::make_unique<OpenLogFile>();

  writer.WriteLine("net", "lost\n");
  EXPECT_THAT(writer.openFiles, IsEmpty());
  EXPECT_THAT(dir.Names(), IsEmpty());

  writer.WriteLine("net", "kept\n");
  EXPECT_EQ(dir.Read("net/app.log"), "kept\n");
}

TEST(LogFileWriter, ReopensAnEntryWithoutAStreamWhenAskedTo) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), keepAll, MiB(1));
  writer.openFiles[""] = std::make_unique<OpenLogFile>();
  writer.openFiles[""]->bytesWritten = 77;

  writer.OpenFile("");

  ASSERT_NE(writer.openFiles.at("")->stream, nullptr);
  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 0u);
}

}  // namespace
