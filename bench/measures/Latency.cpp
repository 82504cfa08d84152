// How long the caller is held up by one line.
#include <vector>

#include "Callers.h"
#include "FromOptions.h"
#include "Histogram.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Process.h"
#include "Report.h"

namespace {

constexpr int linesOfBurst = 2000;
constexpr std::int64_t restBetweenBursts = 20'000'000;  // ns
constexpr int warmUpLines = 1000;

// Starts the library and lets it open its file and touch its buffers.
void StartWarm(const Options& options) {
  logger::Start(SetupOf(options));
  const LogCall log = LogOf(options);
  for (int i = 0; i < warmUpLines; ++i) log(MakeOrder(0, i));
  if (logger::delivery != logger::Delivery::None) WaitUntilDrained(options.directory);
}

void LogTimed(LogCall log, int thread, int number, Histogram& calls) {
  const Order order = MakeOrder(thread, number);
  const std::int64_t before = NowNanoseconds();
  log(order);
  calls.Record(NowNanoseconds() - before);
}

void StopAndReport(const std::vector<Histogram>& callsOfThreads, Report& report) {
  logger::Stop();
  Histogram calls;
  for (const Histogram& ofThread : callsOfThreads) calls.Add(ofThread);
  report.Add("expectedLines", static_cast<std::int64_t>(calls.Count()) + warmUpLines);
  report.Add("call", calls);
}

}  // namespace

void MeasureBursts(const Options& options, Report& report) {
  StartWarm(options);
  std::vector<Histogram> calls(static_cast<std::size_t>(options.threads));
  const std::int64_t end = NowNanoseconds() + static_cast<std::int64_t>(options.seconds * 1e9);
  std::barrier together(options.threads);
  RunCallers(options.threads, [&](int thread) {
    // Who sees the end first drops out, and the others do not wait for it.
    while (NowNanoseconds() < end) {
      together.arrive_and_wait();
      for (int i = 0; i < linesOfBurst; ++i) {
        LogTimed(LogOf(options), thread, i, calls[static_cast<std::size_t>(thread)]);
      }
      PassTimeUntil(NowNanoseconds() + restBetweenBursts, /*spin=*/false);
    }
    together.arrive_and_drop();
  });
  StopAndReport(calls, report);
}

void MeasureSteady(const Options& options, Report& report) {
  StartWarm(options);
  const auto lines = static_cast<int>(options.seconds * options.rate);
  const std::int64_t period = 1'000'000'000 / options.rate;
  std::vector<Histogram> calls(1);
  RunCallers(1, [&](int thread) {
    const std::int64_t start = NowNanoseconds();
    for (int i = 0; i < lines; ++i) {
      PassTimeUntil(start + i * period, options.spin);
      LogTimed(LogOf(options), thread, i, calls[0]);
    }
  });
  StopAndReport(calls, report);
}
