// What a line costs when --count sub-directory keys take turns, and what a bare
// write(2) costs when as many files do:
//
//   bench_keys keys --dir /tmp/bench-logs --count 100 --lines 300000 --queue 400000
#include <ZinLogger.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
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

// In nanoseconds. The kernel alone has more to do when each line goes to another
// file than the one before.
double BareCostPerLine(const Options& options) {
  const std::filesystem::path directory = options.directory + "/bare";
  std::filesystem::create_directory(directory);
  std::vector<int> files;
  for (int i = 0; i < options.count; ++i) {
    files.push_back(
        open((directory / std::to_string(i)).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0640));
  }
  const std::string line = std::string(159, 'x') + '\n';
  const std::int64_t start = NowNanoseconds();
  for (int i = 0; i < options.lines; ++i) {
    const int file = files[static_cast<std::size_t>(i % options.count)];
    if (write(file, line.data(), line.size()) < 0) throw std::runtime_error("a write failed");
  }
  const std::int64_t end = NowNanoseconds();
  for (const int file : files) (void)close(file);
  std::filesystem::remove_all(directory);
  return static_cast<double>(end - start) / options.lines;
}

void Run(const Options& options) {
  AllowOpenFiles(options.count);
  const double bareCost = BareCostPerLine(options);
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
  report.Add("bareNanosecondsPerLine", bareCost);
  report.Add("expectedLines", std::int64_t{options.lines} + options.count);
  report.Add("countedLines", ReadFiles(options.directory).lines);
  report.Print();
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(argc, argv, Run);
}
