#include "Callers.h"
#include "FromOptions.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Process.h"
#include "Report.h"

void MeasureSustained(const Options& options, Report& report) {
  logger::Start(SetupOf(options));
  const int linesOfEach = options.lines / options.threads;
  std::int64_t cpuBefore = 0;
  const LogCall log = LogOf(options);
  const std::int64_t start = RunCallers(
      options.threads,
      [=](int thread) {
        for (int i = 0; i < linesOfEach; ++i) log(MakeOrder(thread, i));
      },
      [&] { cpuBefore = CpuNanoseconds(); });
  const std::int64_t called = NowNanoseconds();
  logger::Stop();
  const std::int64_t stopped = NowNanoseconds();
  const std::int64_t cpuAfter = CpuNanoseconds();

  const std::int64_t lines = std::int64_t{linesOfEach} * options.threads;
  report.Add("expectedLines", lines);
  report.Add("linesPerSecond",
             static_cast<double>(lines) * 1e9 / static_cast<double>(stopped - start));
  report.Add("callersNanosecondsPerLine",
             static_cast<double>(called - start) / static_cast<double>(lines));
  report.Add("cpuNanosecondsPerLine",
             static_cast<double>(cpuAfter - cpuBefore) / static_cast<double>(lines));
}
