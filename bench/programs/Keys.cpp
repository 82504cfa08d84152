// What a line costs when --count sub-directory keys take turns:
//
//   bench_keys keys --dir /tmp/bench-logs --count 100 --lines 300000 --queue 400000
#include <ZinLogger.h>
#include <sys/resource.h>

#include <stdexcept>
#include <vector>

#include "Clock.h"
#include "Options.h"
#include "Order.h"
#include "Process.h"
#include "Report.h"

namespace {

constexpr int rotationMiB = 10;
constexpr int rotatedFilesKept = 100;

void AllowOpenFiles(int count) {
  rlimit limit{};
  (void)getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  if (limit.rlim_max < static_cast<rlim_t>(count) + 64) {
    throw std::runtime_error("the limit of open files is too low");
  }
  (void)setrlimit(RLIMIT_NOFILE, &limit);
}

void LogTo(const std::string& key, int number) {
  const Order order = MakeOrder(0, number);
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, " ", key.c_str(), INFO, ORDER_FORMAT,
                                ORDER_ARGUMENTS(order));
}

void Run(const Options& options) {
  AllowOpenFiles(options.count);
  std::vector<std::string> keys;
  keys.reserve(static_cast<std::size_t>(options.count));
  for (int i = 0; i < options.count; ++i) keys.push_back("tenant" + std::to_string(i));
  if (!ZinLogger::GetInstance()->StartSystem(
          "bench.log", options.directory.c_str(), rotatedFilesKept, rotationMiB, INFO,
          static_cast<unsigned long>(options.queueLines), true)) {
    throw std::runtime_error("libZinLogger refuses " + options.directory);
  }
  for (const std::string& key : keys) LogTo(key, 0);  // opens the files
  WaitUntilDrained(options.directory);

  const std::int64_t start = NowNanoseconds();
  for (int i = 0; i < options.lines; ++i)
    LogTo(keys[static_cast<std::size_t>(i % options.count)], i);
  ZinLogger::GetInstance()->StopSystem();
  const std::int64_t end = NowNanoseconds();

  Report report;
  report.Add("library", std::string("libZinLogger"));
  report.Add("nanosecondsPerLine", static_cast<double>(end - start) / options.lines);
  report.Add("expectedLines", std::int64_t{options.lines} + options.count);
  report.Add("countedLines", ReadFiles(options.directory).lines);
  report.Print();
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(argc, argv, Run);
}
