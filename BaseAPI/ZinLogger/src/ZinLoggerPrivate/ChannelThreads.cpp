#include <pthread.h>

#include <csignal>
#include <thread>
#include <utility>

#include "LogFileWriter.h"
#include "PlainField.h"
#include "SelfLog.h"
#include "ZinLoggerPrivate.h"
#include "ZinSysInfo.h"

namespace {

constexpr const char* thisUnit = "BaseAPI/ZinLogger/src/ZinLoggerPrivate";
constexpr std::uint32_t retentionPeriodMilliseconds = 60000;
constexpr unsigned sizeLimitMask = 0xFFF;

// Blocks all signals of the calling thread while it lives. A thread inherits
// the mask of its creator, so library threads never run the application's
// signal handlers.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &callersMask);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &callersMask, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t callersMask{};
};

// `name` is what top -H shows; the kernel takes 15 characters.
template <typename Body>
void StartDetachedThread(const char* name, Body body) {
  const AllSignalsBlocked noSignals;
  std::thread([name, body = std::move(body)] {
    (void)pthread_setname_np(pthread_self(), name);
    body();
  }).detach();
}

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
  BlockingQueue& queue = isLog ? logQueue : metricsQueue;
  // Deliberate: only the low 12 bits of the MiB count are used; 4096 gives 0.
  const std::uint64_t sizeLimit = std::uint64_t{static_cast<unsigned>(fileSizeMiB) & sizeLimitMask}
                                  << bytesPerMiBShift;
  LogFileWriter writer(std::move(fileName), std::move(directory), keepFiles, sizeLimit);
  LogRecord record;
  for (;;) {
    queue.WaitPop(generation, record);
    if (record.second.empty()) break;
    writer.WriteLine(record.first, record.second);
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

void ZinLoggerPrivate::StopQueue() {
  StorePlain(logRunning, false);
  StorePlain(metricsRunning, false);
  if (logQueue.IsRunning()) {
    ZIN_SELF_LOG(thisUnit, "StopQueue", INFO, "@@@@ LOG EXIT @@@@");
    logQueue.PushExitMarker();
    logQueue.WaitUntilStopped();
  }
  if (metricsQueue.IsRunning()) {
    // Deliberate: the log channel has normally stopped by now, so this line
    // goes to the standard error stream.
    ZIN_SELF_LOG(thisUnit, "StopQueue", INFO, "@@@@ METRICS EXIT @@@@");
    metricsQueue.PushExitMarker();
    metricsQueue.WaitUntilStopped();
  }
}

void ZinLoggerPrivate::StopMetricsQueue() {
  StorePlain(metricsRunning, false);
  if (metricsQueue.IsRunning()) {
    ZIN_SELF_LOG(thisUnit, "StopMetricsQueue", INFO, "@@@@ METRICS EXIT @@@@");
    metricsQueue.PushExitMarker();
    metricsQueue.WaitUntilStopped();
  }
}
