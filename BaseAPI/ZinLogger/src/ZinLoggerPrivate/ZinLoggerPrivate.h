// The state behind the ZinLogger facade, and the threads of both channels.
#ifndef ZIN_LOGGER_PRIVATE_H
#define ZIN_LOGGER_PRIVATE_H

#include <atomic>
#include <cstdint>
#include <string>

#include "BlockingQueue.h"
#include "Retention.h"
#include "ZinForkMutex.h"
#include "ZinLogger.h"

// One record per facade. Its threads are detached and the retention threads
// never end, so it must outlive them: the facade gives its record up at process
// exit without destroying it. Only a record whose channels were never started
// may be destroyed.
//
// Fields that have no lock, and are no atomic, are read and written through
// PlainField.h. The two strings are for the thread that starts the channels.
class ZIN_LOGGER_API ZinLoggerPrivate {
 public:
  ZinLoggerPrivate();

  // Asks the workers of both running channels to leave.
  ~ZinLoggerPrivate();

  ZinLoggerPrivate(const ZinLoggerPrivate&) = delete;
  ZinLoggerPrivate& operator=(const ZinLoggerPrivate&) = delete;

  // Hands a finished line to the log channel: to its queue while it runs, which
  // may drop it, else to the standard error stream. Neither argument may be
  // null while the channel runs. Any thread.
  void forcedLog(const char* subDirKey, const char* line);

  // The same for the metrics channel, without a sub-directory. Any thread.
  void forcedLogForMetrics(const char* text);

  // Starts the log channel: its queue, a worker and a retention thread.
  // fileSizeMiB counts with its low 12 bits. Throws std::system_error when a
  // thread cannot be created; the queue runs then all the same.
  void LoopWorking(int keepFiles, int fileSizeMiB, unsigned long queueCapacity,
                   std::string fileName, std::string directory);

  // Starts the metrics channel in the same way.
  void LoopWorkingForMetrics(int keepFiles, int fileSizeMiB, unsigned long queueCapacity,
                             std::string fileName, std::string directory);

  // Body of a worker thread: writes the records of its queue to files until an
  // exit marker ends it, or its generation of the queue is over.
  void LogWorkTask(std::string fileName, std::string directory, int keepFiles, int fileSizeMiB,
                   bool isLog, BlockingQueue::Generation generation);

  // Body of a retention thread: one pass over `directory` at once and one every
  // minute, for the life of the process. Returns only when `directory` is null
  // or `enabled` false.
  void DeleteDir(const char* directory, bool enabled, bool metricsChannel) const;

  // Stops both channels, the log channel first. Waits for each worker, at most
  // 10 seconds.
  void StopQueue();

  // Stops the metrics channel alone.
  void StopMetricsQueue();

  // Asks the workers of both running channels to leave, and does not wait.
  void PushExitMarkers() noexcept;

  // Stores `dir` as it stands.
  void SetClientMetricsLogDir(const std::string& dir);

  // Around fork; see AtFork.h.
  void LockForFork();
  void UnlockInParent();
  void ResetInChild();

  LogLevel logLevel = INFO;
  bool spareFlag = false;
  bool logRunning = false;
  bool metricsRunning = false;
  RetentionLimits logLimits{100, 10};
  RetentionLimits metricsLimits{2, 2};
  std::int32_t traceSessionId = -1;
  std::string clientMetricsLogDir;
  std::string logName;
  std::atomic<std::int32_t> metricsCount{0};
  std::int32_t metricsPrivSwitch = 0;
  BlockingQueue logQueue{0, "log"};
  BlockingQueue metricsQueue{0, "metrics"};
  ZinForkMutex metricsBufferMutex;  // guards the facade's metricsBuffer

 private:
  void StartChannel(bool isLog, int keepFiles, int fileSizeMiB, unsigned long queueCapacity,
                    std::string fileName, std::string directory);
};

#endif  // ZIN_LOGGER_PRIVATE_H
