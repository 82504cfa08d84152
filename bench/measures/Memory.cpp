#include "Callers.h"
#include "FileWrites.h"
#include "FromOptions.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Process.h"
#include "Report.h"

void MeasureMemory(const Options& options, Report& report) {
  const std::int64_t before = ResidentKiB();
  ShutFileGate();
  logger::Start(SetupOf(options));
  RunCallers(1, [&](int thread) {
    for (int i = 0; i < options.lines; ++i) logger::Log(MakeOrder(thread, i));
  });
  const std::int64_t peak = PeakResidentKiB();
  OpenFileGate();
  WaitUntilDrained(options.directory);
  const std::int64_t drained = ResidentKiB();
  logger::Stop();

  report.Add("expectedLines", std::int64_t{options.lines});
  report.Add("beforeKiB", before);
  report.Add("peakKiB", peak);
  report.Add("drainedKiB", drained);
}
