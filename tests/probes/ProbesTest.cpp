// What a tracer would be told, and what not: every probe with its arguments, without
// a tracer. That a real one sees them is tested with the library itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "BlockingQueue.h"
#include "CapturedStandardError.h"
#include "LogFileWriter.h"
#include "OpenDescriptors.h"
#include "PassedProbes.h"
#include "Retention.h"
#include "ScratchDir.h"
#include "ZinLoggerPrivate.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t keepAll = 1000;
constexpr std::uint64_t noByteLimit = UINT64_MAX;

std::string Number(int number) {
  return std::to_string(number);
}

// ---- Queue -------------------------------------------------------------------

TEST(Probes, TellOfARecordThatFindsItsQueueFull) {
  BlockingQueue queue(1, "log");
  queue.Start();
  queue.Push("", "line 1");

  queue.Push("", std::string_view("line 2 and more").substr(0, 6));

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:queue_drop log line 2 6"));
}

TEST(Probes, TellOfARecordThatFindsItsQueueStopped) {
  BlockingQueue queue(1, "metrics");

  queue.Push("", "record");

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:queue_drop metrics record 6"));
}

TEST(Probes, CallEachChannelByItsName) {
  ZinLoggerPrivate state;
  state.logQueue.SetCapacity(0);
  state.metricsQueue.SetCapacity(0);
  state.logQueue.Start();
  state.metricsQueue.Start();

  state.forcedLog("net", "line\n");
  state.forcedLogForMetrics("record\n");

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:queue_drop log line\n 5",
                                          "zinlogger:queue_drop metrics record\n 7"));
}

TEST(Probes, SayNothingOfARecordThatIsTaken) {
  BlockingQueue queue(10, "log");
  const auto worker = queue.Start();
  LogRecord record;

  queue.Push("", "line");
  queue.WaitPop(worker, record);
  queue.PushExitMarker();

  EXPECT_THAT(PassedProbes(), IsEmpty());
}

TEST(Probes, SayNothingOfAStopInTime) {
  BlockingQueue queue(10, "log");
  queue.MarkStopped(queue.Start());

  queue.WaitUntilStopped();

  EXPECT_THAT(PassedProbes(), IsEmpty());
}

TEST(SlowProbes, TellOfAStopThatGivesUp) {
  BlockingQueue queue(10, "metrics");
  queue.Start();

  queue.WaitUntilStopped();

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:stop_timeout metrics"));
}

// ---- Files -------------------------------------------------------------------

class FileProbes : public testing::Test {
 protected:
  // Opening a file says that it is no directory.
  const CapturedStandardError standardError;
  const ScratchDir dir;
  const std::string path = dir / "app.log";
  LogFileWriter writer{"app.log", dir.Path(), keepAll, MiB(1)};
};

TEST_F(FileProbes, SayNothingOfALineThatIsWritten) {
  writer.WriteLine("", "line 1\n");
  writer.WriteLine("net", "line 2\n");

  EXPECT_THAT(PassedProbes(), IsEmpty());
}

TEST_F(FileProbes, TellOfAFileThatCannotBeOpened) {
  fs::create_symlink("/nowhere/at/all", path);

  writer.WriteLine("", "lost\n");

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:open_fail " + path + " " + Number(ENOENT)));
}

// No file may grow while this lives.
class FullDisk {
 public:
  FullDisk() : formerHandler(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
    const rlimit none{0, former.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
  }
  ~FullDisk() {
    (void)setrlimit(RLIMIT_FSIZE, &former);
    (void)std::signal(SIGXFSZ, formerHandler);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  void (*formerHandler)(int);
  rlimit former{};
};

TEST_F(FileProbes, TellOfWhatTheDiskDoesNotTake) {
  writer.WriteLine("", "fits\n");
  const std::vector<int> descriptors = DescriptorsOf(path);
  ASSERT_EQ(descriptors.size(), 1u);
  {
    const FullDisk full;
    writer.WriteLine("", "does not fit\n");
  }
  writer.WriteLine("", "fits again\n");

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:write_fail " + Number(descriptors.front()) +
                                          " 13 " + Number(EFBIG)));
  EXPECT_EQ(dir.Read("app.log"), "fits\nfits again\n");
}

// Also when the line is tried again, in a new file.
TEST_F(FileProbes, TellOfWhatTheDiskDoesNotTakeTwice) {
  writer.WriteLine("", "fits\n");
  const std::vector<int> descriptors = DescriptorsOf(path);
  ASSERT_EQ(descriptors.size(), 1u);
  ASSERT_EQ(close(descriptors.front()), 0);
  {
    const FullDisk full;
    writer.WriteLine("", "does not fit\n");
  }

  EXPECT_THAT(PassedProbes(), ElementsAre(StartsWith("zinlogger:rotate "),
                                          "zinlogger:write_fail " + Number(descriptors.front()) +
                                              " 13 " + Number(EFBIG)));
}

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
TEST_F(FileProbes, TellOfAFileThatIsMovedAside) {
  dir.Write("app.log", "of an earlier run\n");

  writer.WriteLine("", "line\n");

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:rotate " + path + " " + dir.Path() +
                                          "/app_20260105090307042-000-4711.log"));
}

TEST_F(FileProbes, TellOfAFileThatCannotBeMovedAside) {
  writer.RotateFile(path);

  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:rename_fail " + path + " " + dir.Path() +
                                          "/app_20260105090307042-000-4711.log " + Number(ENOENT)));
}

// What errno holds from before is no reason.
TEST_F(FileProbes, TellOfAFileThatALimitRemovesAndOfOneThatStays) {
  std::vector<std::string> files =
      dir.AddLogs({{"1.log", 100}, {"3.log", 300}, {"4.log", 400}, {"5.log", 500}});
  fs::create_directories(dir / "2.log/in");
  fs::last_write_time(dir / "2.log",
                      fs::last_write_time(dir / "1.log") + std::chrono::seconds(100));
  files.push_back(dir / "2.log");
  errno = EXDEV;

  TrimDirToLimits(files, files.size(), /*maxCount=*/3, /*totalBytes=*/0, noByteLimit);

  // 5 - 3 + 1, oldest first.
  EXPECT_THAT(PassedProbes(), ElementsAre("zinlogger:retention_remove " + dir.Path() + "/1.log 0",
                                          "zinlogger:retention_remove " + dir.Path() + "/2.log " +
                                              Number(ENOTEMPTY),
                                          "zinlogger:retention_remove " + dir.Path() + "/3.log 0"));
}

TEST_F(FileProbes, TellOfARotatedFileThatIsOneTooMany) {
  dir.AddLogs({{"app_1.log", 100}, {"app_2.log", 200}, {"app_3.log", 300}});
  const LogFileWriter keepsTwo("app.log", dir.Path(), 2, MiB(1));

  RemoveExcessRotatedFiles(keepsTwo, "");

  EXPECT_THAT(PassedProbes(),
              ElementsAre("zinlogger:retention_remove " + dir.Path() + "/app_1.log 0"));
}

}  // namespace
