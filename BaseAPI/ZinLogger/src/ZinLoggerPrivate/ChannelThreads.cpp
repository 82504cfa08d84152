#include <utility>

#include "DetachedThread.h"
#include "LogFileWriter.h"
#include "PlainField.h"
#include "SelfLog.h"
#include "StandardError.h"
#include "ZinLoggerPrivate.h"
#include "ZinSysInfo.h"

namespace {

constexpr const char* thisUnit = "BaseAPI/ZinLogger/src/ZinLoggerPrivate";
constexpr std::uint32_t retentionPeriodMilliseconds = 60000;
constexpr unsigned sizeLimitMask = 0xFFF;

}  // namespace

void ZinLoggerPrivate::LoopWorking(int keepFiles, int fileSizeMiB, unsigned long queueCapacity,
                                   std::string fileName, std::string directory) {
  StartChannel(true, keepFiles, fileSizeMiB, queueCapacity, std::move(fileName),
               std::move(directory));
}

void ZinLoggerPrivate::LoopWorkingForMetrics(int keepFiles, int fileSizeMiB,
                                             unsigned long queueCapacity, std::string fileName,
                                             std::string directory) {
  StartChannel(false, keepFiles, fileSizeMiB, queueCapacity, std::move(fileName),
               std::move(directory));
}

void ZinLoggerPrivate::StartChannel(bool isLog, int keepFiles, int fileSizeMiB,
                                    unsigned long queueCapacity, std::string fileName,
                                    std::string directory) {
  BlockingQueue& queue = isLog ? logQueue : metricsQueue;
  queue.SetCapacity(queueCapacity);
  const BlockingQueue::Generation generation = queue.Start();
  StartDetachedThread(isLog ? "zin-log-worker" : "zin-met-worker",
                      [=, this, fileName = std::move(fileName)] {
                        LogWorkTask(fileName, directory, keepFiles, fileSizeMiB, isLog, generation);
                      });
  StartDetachedThread(isLog ? "zin-log-keeper" : "zin-met-keeper",
                      [this, isLog, directory = std::move(directory)] {
                        // Deliberate: the flag is read here, once. A stop that
                        // comes before leaves the channel without retention, a
                        // later one is not noticed.
                        const bool& running = isLog ? logRunning : metricsRunning;
                        DeleteDir(directory.c_str(), LoadPlain(running), !isLog);
                      });
}

void ZinLoggerPrivate::LogWorkTask(std::string fileName, std::string directory, int keepFiles,
                                   int fileSizeMiB, bool isLog,
                                   BlockingQueue::Generation generation) {
  // What the library says about a file may go there, and must not hold up the
  // lines that wait.
  const NoWaitForStandardError noWait;
  BlockingQueue& queue = isLog ? logQueue : metricsQueue;
  // Deliberate: only the low 12 bits of the MiB count are used; 4096 gives 0.
  const std::uint64_t sizeLimit = std::uint64_t{static_cast<unsigned>(fileSizeMiB) & sizeLimitMask}
                                  << bytesPerMiBShift;
  LogFileWriter writer(std::move(fileName), std::move(directory), keepFiles, sizeLimit);
  LineRun run;
  for (;;) {
    queue.WaitPop(generation, run.Begin());
    if (run.Text().empty()) break;
    OpenLogFile* file = writer.FileFor(run.Key());
    const bool moreWait = queue.TakeAlong(generation, run, writer.BytesBeforeLastLine(file));
    while (!run.IsDone()) {
      file = writer.WriteSome(file, run);
      queue.MarkWritten(generation, run);
    }
    writer.RotateIfFull(file, run.Key());
    if (!moreWait) queue.LetRecordsGather();
  }
  // Deliberate: before the files are closed, so that nobody waits for that.
  queue.MarkStopped(generation);
}

void ZinLoggerPrivate::DeleteDir(const char* directory, bool enabled, bool metricsChannel) const {
  if (directory == nullptr || !enabled) return;
  const RetentionLimits& limits = metricsChannel ? metricsLimits : logLimits;
  // Deliberate: no stop reaches this loop; it ends with the process, and every
  // start adds one.
  for (;;) {
    RunRetentionPass(directory, limits);
    ZinSleep(retentionPeriodMilliseconds);
  }
}

// In each of the stops the exit line may go to standard error. Whatever that
// does, the stop takes no longer than its worker may.
void ZinLoggerPrivate::StopQueue() {
  StorePlain(logRunning, false);
  StorePlain(metricsRunning, false);
  if (logQueue.IsRunning()) {
    const ShortWaitForStandardError exitLine;
    ZIN_SELF_LOG(thisUnit, "StopQueue", INFO, "@@@@ LOG EXIT @@@@");
    logQueue.PushExitMarker();
    logQueue.WaitUntilStopped(exitLine.Waited());
  }
  if (metricsQueue.IsRunning()) {
    const ShortWaitForStandardError exitLine;
    // Deliberate: the log channel has normally stopped by now, so this line
    // goes to the standard error stream.
    ZIN_SELF_LOG(thisUnit, "StopQueue", INFO, "@@@@ METRICS EXIT @@@@");
    metricsQueue.PushExitMarker();
    metricsQueue.WaitUntilStopped(exitLine.Waited());
  }
}

void ZinLoggerPrivate::StopMetricsQueue() {
  StorePlain(metricsRunning, false);
  if (metricsQueue.IsRunning()) {
    const ShortWaitForStandardError exitLine;
    ZIN_SELF_LOG(thisUnit, "StopMetricsQueue", INFO, "@@@@ METRICS EXIT @@@@");
    metricsQueue.PushExitMarker();
    metricsQueue.WaitUntilStopped(exitLine.Waited());
  }
}
