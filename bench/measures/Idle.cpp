#include <unistd.h>

#include <chrono>
#include <string_view>
#include <thread>

#include "FromOptions.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Process.h"
#include "Report.h"

namespace {

void Mark(std::string_view text) {
  (void)!write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

void MeasureIdle(const Options& options, Report& report) {
  logger::Start(SetupOf(options));
  logger::Log(MakeOrder(0, 0));
  WaitUntilDrained(options.directory);
  Mark("idle begins\n");
  std::this_thread::sleep_for(std::chrono::duration<double>(options.seconds));
  Mark("idle ends\n");
  logger::Stop();
  report.Add("expectedLines", std::int64_t{1});
}
