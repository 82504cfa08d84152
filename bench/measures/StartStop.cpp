#include <chrono>
#include <thread>

#include "Clock.h"
#include "FileWrites.h"
#include "FromOptions.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Report.h"

namespace {

double Microseconds(std::int64_t from, std::int64_t to) {
  return static_cast<double>(to - from) / 1000;
}

}  // namespace

void MeasureStartStop(const Options& options, Report& report) {
  NoteFileWrites(100);
  const std::int64_t start = NowNanoseconds();
  logger::Start(SetupOf(options));
  const std::int64_t started = NowNanoseconds();
  logger::Log(MakeOrder(0, 0));
  while (CountFileWrites() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  // Long enough for every worker to have gone to sleep.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const std::int64_t written = NotedFileWrites().front().nanoseconds;

  const std::int64_t stop = NowNanoseconds();
  logger::Stop();
  report.Add("expectedLines", std::int64_t{1});
  report.Add("startMicroseconds", Microseconds(start, started));
  report.Add("firstLineMicroseconds", Microseconds(start, written));
  report.Add("stopMicroseconds", Microseconds(stop, NowNanoseconds()));
}
