#include "Clock.h"
#include "FromOptions.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Report.h"

void MeasureFiltered(const Options& options, Report& report) {
  logger::Start(SetupOf(options));
  const LogCall log = options.byMacro ? logger::LogFilteredByMacro : logger::LogFiltered;
  const Order order = MakeOrder(0, 1);
  const std::int64_t start = NowNanoseconds();
  for (int i = 0; i < options.lines; ++i) log(order);
  const std::int64_t end = NowNanoseconds();
  logger::Stop();
  report.Add("expectedLines", std::int64_t{0});
  report.Add("nanosecondsPerCall", static_cast<double>(end - start) / options.lines);
}
