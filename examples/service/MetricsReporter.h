// Writes a metrics record five times a second, from a thread of its own.
#ifndef SERVICE_METRICS_REPORTER_H
#define SERVICE_METRICS_REPORTER_H

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

#include "Statistics.h"

class MetricsReporter {
 public:
  // `source` must outlive the reporter.
  explicit MetricsReporter(Statistics& source);

  // Writes a last record, so that the file ends with the final counts.
  ~MetricsReporter();

  MetricsReporter(const MetricsReporter&) = delete;
  MetricsReporter& operator=(const MetricsReporter&) = delete;

 private:
  void Run(const std::stop_token& stop);
  void WriteRecord();

  Statistics& statistics;
  std::mutex mutex;
  std::condition_variable_any stopRequested;
  std::jthread thread;
};

#endif  // SERVICE_METRICS_REPORTER_H
