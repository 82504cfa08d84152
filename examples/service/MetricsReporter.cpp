#include "MetricsReporter.h"

#include <ZinLogger.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <vector>

namespace {

using std::chrono::microseconds;

constexpr std::chrono::milliseconds period{200};

// Local time to the millisecond. A metrics record has no header, so it brings
// its own time.
std::array<char, 32> TimeStamp() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  std::array<char, 32> stamp{};
  const std::size_t length = std::strftime(stamp.data(), stamp.size(), "%Y-%m-%dT%H:%M:%S", &local);
  std::snprintf(stamp.data() + length, stamp.size() - length, ".%03ld", now.tv_nsec / 1000000);
  return stamp;
}

// 0 when nothing was measured.
long long Percentile(const std::vector<microseconds>& sorted, std::size_t percent) {
  if (sorted.empty()) return 0;
  return sorted[(sorted.size() - 1) * percent / 100].count();
}

}  // namespace

MetricsReporter::MetricsReporter(Statistics& source)
    : statistics(source), thread([this](const std::stop_token& stop) { Run(stop); }) {}

MetricsReporter::~MetricsReporter() {
  thread.request_stop();
  thread.join();
  WriteRecord();
}

void MetricsReporter::Run(const std::stop_token& stop) {
  std::unique_lock<std::mutex> lock(mutex);
  while (!stop.stop_requested()) {
    WriteRecord();
    stopRequested.wait_for(lock, stop, period, [] { return false; });
  }
}

void MetricsReporter::WriteRecord() {
  std::vector<microseconds> durations = statistics.TakeDurations();
  std::sort(durations.begin(), durations.end());
  const Statistics::Totals totals = statistics.Sum();
  ZinLogger::GetInstance()->Metrics(
      "time=%s requests=%llu refused=%llu failed=%llu bytes=%llu "
      "latest=%zu p50_us=%lld p95_us=%lld p99_us=%lld max_us=%lld",
      TimeStamp().data(), static_cast<unsigned long long>(totals.Requests()),
      static_cast<unsigned long long>(totals.refused),
      static_cast<unsigned long long>(totals.failed),
      static_cast<unsigned long long>(totals.bodyBytes), durations.size(),
      Percentile(durations, 50), Percentile(durations, 95), Percentile(durations, 99),
      Percentile(durations, 100));
}
